#include "agent/AgentSession.h"
#include "app/InterruptSignal.h"
#include "app/Terminal.h"
#include "app/TerminalRunner.h"
#include "models/ModelManager.h"
#include "tests/support/FakePlatform.h"
#include "tests/support/HttpServer.h"
#include "tests/support/ProgramHome.h"
#include "tests/support/ScriptedEngine.h"

#include <QCoreApplication>
#include <QTest>
#include <QTimer>

#include <csignal>

using namespace Qt::StringLiterals;

// What a user sees in a terminal while the model is downloaded. The tests start this program again
// on a terminal, with the name of a scene as the argument.
namespace {
constexpr qint64 modelSize = 4'000'000;

QCoro::Task<> play(TerminalRunner &runner)
{
    QCoreApplication::exit(co_await runner.run(u"Do it"_s));
}

// The first start without a model: the server stops half-way and, in one scene, continues.
int playScene(const QByteArray &scene)
{
    HttpServer server;
    HttpServer::Answer answer;
    answer.body = "model";
    answer.size = modelSize;
    answer.holdAfter = modelSize / 2;
    if (scene != "missing")
        server.setAnswer(u"/test.gguf"_s, answer);

    const FakePlatform platform;
    const auto engine = std::make_shared<ScriptedEngine>();
    engine->addReplies({uR"({"action":"done","message":"All done."})"_s});
    ModelManager models(engine);
    models.select(LocalModel{.id = u"test"_s,
                             .name = u"Test Model"_s,
                             .detail = u"Small"_s,
                             .url = server.url(u"/test.gguf"_s),
                             .fileName = u"test.gguf"_s,
                             .sizeMB = 4});
    AgentSession session(models);
    Terminal terminal;
    TerminalRunner runner(models, session, terminal);
    const InterruptSignal interrupt;
    QObject::connect(&interrupt, &InterruptSignal::interrupted, &runner, &TerminalRunner::stop);
    QObject::connect(&models, &ModelManager::stateChanged, &runner, [&] {
        if (scene == "whole" && models.state().progress > 0)
            server.release();
    });

    QCoro::Task<> playing;
    QTimer::singleShot(0, &runner, [&] { playing = play(runner); });
    return QCoreApplication::exec();
}
} // namespace

class tst_TerminalRunner : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void showsTheProgressOfTheDownload();
    void ctrlCCancelsTheDownloadAndLeavesNoFile();
    void reportsWhyTheDownloadFailed();
};

namespace {
// The scenes have a web server.
Program::Options options(const ProgramHome &home)
{
    Program::Options result = home.options(Program::Input::terminal);
    result.hasNetwork = true;
    return result;
}
} // namespace

void tst_TerminalRunner::showsTheProgressOfTheDownload()
{
    const ProgramHome home;
    Program quillon(QCoreApplication::applicationFilePath(), {u"whole"_s}, options(home));
    QCOMPARE(quillon.waitForExit(), 0);
    const QString output = quillon.output();
    QVERIFY(output.contains(u"Downloading Test Model (~4 MB), once.\n"_s));
    QVERIFY(output.contains(u"░░░░░░░░░░░░░░░░░░░░░░░░ 0% of ~4 MB"_s));
    QVERIFY(output.contains(u"████████████████████████ 100% of ~4 MB"_s));
    QVERIFY(output.endsWith(u"  ✔ All done.\n"_s));
    QCOMPARE(home.modelFiles(), QStringList{u"test.gguf"_s});
}

void tst_TerminalRunner::ctrlCCancelsTheDownloadAndLeavesNoFile()
{
    const ProgramHome home;
    Program quillon(QCoreApplication::applicationFilePath(), {u"half"_s}, options(home));
    QVERIFY(quillon.waitForOutput(" 50% of ~4 MB") || quillon.waitForOutput(" 49% of ~4 MB", 0));
    QCOMPARE(home.modelFiles().size(), 1);
    quillon.type("\x03");
    QCOMPARE(quillon.waitForExit(), 128 + SIGINT);
    QVERIFY(!quillon.output().contains(u"isn't ready"_s));
    QCOMPARE(home.modelFiles(), QStringList());
}

void tst_TerminalRunner::reportsWhyTheDownloadFailed()
{
    const ProgramHome home;
    Program quillon(QCoreApplication::applicationFilePath(), {u"missing"_s}, options(home));
    QCOMPARE(quillon.waitForExit(), 1);
    QVERIFY(quillon.output().endsWith(u"Test Model isn't ready: Download failed (HTTP 404).\n"_s));
    QCOMPARE(home.modelFiles(), QStringList());
}

int main(int argc, char *argv[])
{
    const QCoreApplication application(argc, argv);
    QCoreApplication::setOrganizationName(u"Quillon"_s);
    QCoreApplication::setApplicationName(u"Quillon"_s);
    for (const QByteArray scene : {"whole", "half", "missing"}) {
        if (argc == 2 && scene == argv[1])
            return playScene(scene);
    }
    tst_TerminalRunner tests;
    return QTest::qExec(&tests, argc, argv);
}

#include "tst_TerminalRunner.moc"
