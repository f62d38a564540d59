#include "app/CommandLine.h"

#include "app/Doctor.h"
#include "app/InterruptSignal.h"
#include "app/PanelProgram.h"
#include "app/Terminal.h"
#include "app/TerminalRunner.h"
#include "base/NumericLocale.h"
#include "platform/CoreApplication.h"
#include "platform/Keyboard.h"
#include "platform/Platform.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QCoro/QCoroTask>
#include <QTimer>

#include <optional>

using namespace Qt::StringLiterals;

namespace {
// Used by D-Bus activation, which sends the request afterwards.
const QString activatedOption = u"activated"_s;
const QString doctorOption = u"doctor"_s;
const QString taskOption = u"task"_s;
const QString toggleOption = u"toggle"_s;

// These names determine the folders of settings and models, such as ~/.config/Quillon.
void setNames()
{
    QCoreApplication::setOrganizationName(u"Quillon"_s);
    QCoreApplication::setOrganizationDomain(u"quillon.app"_s);
    QCoreApplication::setApplicationName(u"Quillon"_s);
    QCoreApplication::setApplicationVersion(u"" QUILLON_VERSION ""_s);
}

void describe(QCommandLineParser &parser)
{
    parser.setApplicationDescription(
        u"Operates your computer for you, with a language model that runs on it. "
        "Without an option it opens its panel, or brings it to the front."_s);
    parser.addOption({taskOption, u"Run one task in this terminal."_s, u"text"_s});
    parser.addOption({doctorOption, u"Check what tasks depend on, and say what to do about it."_s});
    parser.addOption({toggleOption, u"Show or hide the panel, as its key does."_s});
    QCommandLineOption activated(activatedOption);
    activated.setFlags(QCommandLineOption::HiddenFromHelp);
    parser.addOption(activated);
    parser.addHelpOption();
    parser.addVersionOption();
}

QCoro::Task<> runInTerminal(TerminalRunner &runner, QString task)
{
    QCoreApplication::exit(co_await runner.run(std::move(task)));
}

int runTask(const QString &task)
{
    Platform::current().keyboard().recover();
    Terminal terminal;
    ModelManager models;
    AgentSession session(models);
    TerminalRunner runner(models, session, terminal);
    const InterruptSignal interrupt;
    QObject::connect(&interrupt, &InterruptSignal::interrupted, &runner, &TerminalRunner::stop);

    QCoro::Task<> running;
    QTimer::singleShot(0, &runner, [&] { running = runInTerminal(runner, task); });
    return QCoreApplication::exec();
}

int runDoctor()
{
    Terminal terminal;
    const QList<Doctor::Line> report = Doctor::examine();
    for (const Doctor::Line &line : report)
        terminal.print(Doctor::text(line));
    return Doctor::isHealthy(report) ? EXIT_SUCCESS : EXIT_FAILURE;
}

QString spelled(const QString &option)
{
    return u"--"_s + option;
}

// One sentence on options that exclude each other; nothing if they are consistent.
std::optional<QString> contradiction(const QCommandLineParser &parser)
{
    const QStringList options = parser.optionNames();
    for (const QString &option : options) {
        if (option != options.first()) {
            return u"%1 and %2 don't go together: give one of them."_s.arg(spelled(options.first()),
                                                                           spelled(option));
        }
    }
    if (options.size() > 1)
        return u"Give %1 only once."_s.arg(spelled(options.first()));
    // The task's text was forgotten, and the parser took the next option for it.
    const QString task = parser.value(taskOption);
    if (task == spelled(taskOption) || task == spelled(doctorOption) ||
        task == spelled(toggleOption))
        return u"%1 is followed by %2, not by a task."_s.arg(spelled(taskOption), task);
    return std::nullopt;
}

// Reads the arguments before there is an application object.
bool asksForPanel(int argc, char **argv, std::optional<Instance::Request> &request)
{
    QCommandLineParser parser;
    describe(parser);
    QStringList arguments;
    for (int i = 0; i < argc; ++i)
        arguments.append(QString::fromLocal8Bit(argv[i]));
    if (!parser.parse(arguments) || !parser.positionalArguments().isEmpty())
        return false;
    const QStringList options = parser.optionNames();
    if (options.isEmpty())
        request = Instance::Request::open;
    else if (options == QStringList{toggleOption})
        request = Instance::Request::toggle;
    else
        return options == QStringList{activatedOption};
    return true;
}
} // namespace

int CommandLine::run(int argc, char **argv, const QuillonApp::Views &views)
{
    setNames();
    std::optional<Instance::Request> request;
    if (asksForPanel(argc, argv, request))
        return PanelProgram::run(argc, argv, request, views);

    // Everything else needs no display.
    const QCoreApplication *const application = makeCoreApplication(argc, argv);
    usePlainNumbers();
    QCommandLineParser parser;
    describe(parser);
    parser.process(*application);
    if (const std::optional<QString> sentence = contradiction(parser)) {
        Terminal().printError(*sentence);
        return EXIT_FAILURE;
    }
    if (parser.optionNames() == QStringList{doctorOption} && parser.positionalArguments().isEmpty())
        return runDoctor();
    if (parser.isSet(taskOption) && parser.positionalArguments().isEmpty())
        return runTask(parser.value(taskOption));
    Terminal().printError(u"Quillon takes a task as one text: quillon --task \"Find "
                          "the latest PDF in my Downloads folder\""_s);
    return EXIT_FAILURE;
}
