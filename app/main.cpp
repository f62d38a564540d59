#include "agent/AgentSession.h"
#include "app/InterruptSignal.h"
#include "app/Terminal.h"
#include "app/TerminalRunner.h"
#include "models/ModelManager.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QCoro/QCoroTask>
#include <QTimer>

#include <cstdio>
#include <cstdlib>

namespace {
QCoro::Task<> runInTerminal(TerminalRunner &runner, QString task)
{
    QCoreApplication::exit(co_await runner.run(std::move(task)));
}
} // namespace

int main(int argc, char *argv[])
{
    const QCoreApplication application(argc, argv);
    // These names decide where settings and models are kept: ~/.config/Quillon and the like.
    QCoreApplication::setOrganizationName(QStringLiteral("Quillon"));
    QCoreApplication::setOrganizationDomain(QStringLiteral("quillon.app"));
    QCoreApplication::setApplicationName(QStringLiteral("Quillon"));
    QCoreApplication::setApplicationVersion(QStringLiteral(QUILLON_VERSION));

    QCommandLineParser parser;
    parser.setApplicationDescription(
        QStringLiteral("Operates your computer for you, with a language model that runs on it."));
    const QCommandLineOption taskOption(QStringLiteral("task"),
                                        QStringLiteral("Run one task in this terminal."),
                                        QStringLiteral("text"));
    parser.addOption(taskOption);
    parser.addHelpOption();
    parser.addVersionOption();
    parser.process(application);

    Terminal terminal;
    if (!parser.isSet(taskOption) || !parser.positionalArguments().isEmpty()) {
        terminal.complain(QStringLiteral(
            "Quillon needs a task: quillon --task \"Find the latest PDF in my Downloads folder\""));
        return EXIT_FAILURE;
    }

    ModelManager models;
    AgentSession session(models);
    TerminalRunner runner(models, session, terminal);
    const InterruptSignal interrupt;
    QObject::connect(&interrupt, &InterruptSignal::interrupted, &runner, &TerminalRunner::stop);

    QCoro::Task<> running;
    QTimer::singleShot(0, &runner,
                       [&] { running = runInTerminal(runner, parser.value(taskOption)); });
    return QCoreApplication::exec();
}
