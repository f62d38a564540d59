// Kills the program in each of its states: nothing may be left behind, and the next start must work
// as usual.

#include "agent/AgentSession.h"
#include "app/Terminal.h"
#include "app/TerminalRunner.h"
#include "models/LocalModel.h"
#include "models/ModelManager.h"
#include "tests/support/HttpServer.h"
#include "tests/support/Program.h"
#include "tests/support/TestModel.h"
#include "tests/support/Waiting.h"
#include "tests/trust/Typists.h"

#include <QDirIterator>
#include <QProcessEnvironment>
#include <QTimer>

#include <functional>

using namespace Qt::StringLiterals;
using namespace Typists;

namespace {
constexpr qint64 modelSize = 2'000'000;

// Another process: downloads a model from the address in its argument like the real program.
QCoro::Task<> download(TerminalRunner &runner)
{
    QCoreApplication::exit(co_await runner.run(u"Do it"_s));
}

int downloadFrom(const QString &address)
{
    ModelManager models;
    models.select(LocalModel{.id = u"test"_s,
                             .name = u"Test Model"_s,
                             .detail = u"Small"_s,
                             .url = QUrl(address),
                             .fileName = u"test.gguf"_s,
                             .sizeMB = 2});
    AgentSession session(models);
    Terminal terminal;
    TerminalRunner runner(models, session, terminal);
    QCoro::Task<> downloading;
    QTimer::singleShot(0, &runner, [&] { downloading = download(runner); });
    return QCoreApplication::exec();
}
// Waits while the server runs on this event loop.
bool comesTo(const std::function<bool()> &condition)
{
    for (const QDeadlineTimer limit(eventually); !limit.hasExpired();) {
        QCoreApplication::processEvents();
        if (condition())
            return true;
        QTest::qSleep(1);
    }
    return false;
}

// Letters of another script, so that keys are mapped temporarily.
const QByteArray longText = QByteArray("Жук шёл ").repeated(150);
const QByteArray typing = R"({"action":"type_text","text":")" + longText + R"("})";

void waitUntilItTypes(Program &quillon, const Listener &receiver)
{
    const QDeadlineTimer limit(eventually);
    while (receiver.received().size() < 100 && !limit.hasExpired())
        (void)quillon.waitForOutput("what it never prints", 1);
}
} // namespace

class tst_KilledProgram : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void cleanup();

    void whileTheModelLoads();
    void whileItGenerates();
    void whileItAsks();
    void whileItPerformsAStep();
    void whileThePanelAsks();
    void whileItTypes();
    void whileItTypesTogetherWithWhatTypes();
    void whatTypesAlone();
    void whileItDownloads();
    void whileTheDownloadGoesIntoPlace();

private:
    void giveModel(const QList<QByteArray> &replies, bool ends = true) const;
    [[nodiscard]] static Program::Options options();
    /// The processes of that program, except for this one.
    [[nodiscard]] QList<qint64> others(const QString &program) const;
    [[nodiscard]] QStringList leftovers() const;
    [[nodiscard]] QStringList modelFiles() const;
    /// Removes the setting of the chosen model, which is kept on purpose.
    void forgetChoice() const
    {
        QVERIFY(QDir(m_desktop->home(u".config/Quillon"_s)).removeRecursively());
    }
    /// Every test ends with this: a complete task.
    void nextStartIsFine();
    [[nodiscard]] static bool openedModel(pid_t process);

    std::unique_ptr<VirtualDesktop> m_desktop;
    QByteArray m_map;
    QStringList m_before; ///< The files in the user's folders before.
};

void tst_KilledProgram::initTestCase()
{
    m_desktop = std::make_unique<VirtualDesktop>();
    m_desktop->enableAccessibility();
    m_map = keyboardMap();
    m_desktop->write(u"old.zip"_s, "old");
    giveModel({R"({"action":"done","message":"Fine."})"});
    nextStartIsFine();
    m_before = leftovers();
}

void tst_KilledProgram::cleanup()
{
    if (!m_desktop)
        return;
    for (const QString &program : {u"/quillon"_s, u"/quillon-keyboard"_s, u"/tst_KilledProgram"_s})
        QTRY_COMPARE(others(program), QList<qint64>());
    QCOMPARE(keysDown(), 0);
    QCOMPARE(keyboardMap(), m_map);
    giveModel({R"({"action":"done","message":"Fine."})"});
    nextStartIsFine();
    // No lock, socket or partial file is left.
    QCOMPARE(leftovers(), m_before);
    QVERIFY(QFile::exists(m_desktop->home(u"old.zip"_s)));
}

void tst_KilledProgram::giveModel(const QList<QByteArray> &replies, bool ends) const
{
    const QString file = u".local/share/Quillon/Models/"_s + LocalModel::catalog().first().fileName;
    m_desktop->write(file, {});
    TestModel model = TestModel::saying(replies);
    model.bytesPerPiece = 40;
    for (TestModel::Reply &reply : model.replies)
        reply.ends = ends;
    model.write(m_desktop->home(file));
}

Program::Options tst_KilledProgram::options()
{
    Program::Options result{.input = Program::Input::terminal, .hasNetwork = true};
    const QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    for (const QString &name : environment.keys())
        result.environment[name] = environment.value(name);
    return result;
}

QList<qint64> tst_KilledProgram::others(const QString &program) const
{
    QList<qint64> found = m_desktop->processes(program);
    found.removeAll(QCoreApplication::applicationPid());
    return found;
}

// Without files of the accessibility bus and of applications.
QStringList tst_KilledProgram::leftovers() const
{
    QStringList found;
    for (const QString &folder : {m_desktop->home(), qEnvironmentVariable("XDG_RUNTIME_DIR")}) {
        QDirIterator entries(folder,
                             QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot,
                             QDirIterator::Subdirectories);
        while (entries.hasNext()) {
            const QString entry = entries.next();
            if (!entry.contains(u"Receiver.typed"_s))
                found << entry;
        }
    }
    found.sort();
    return found;
}

QStringList tst_KilledProgram::modelFiles() const
{
    return QDir(m_desktop->home(u".local/share/Quillon/Models"_s))
        .entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot);
}

void tst_KilledProgram::nextStartIsFine()
{
    Program next(u"" QUILLON_PROGRAM ""_s, {u"--task"_s, u"Say that it is fine"_s}, options());
    QCOMPARE(next.waitForExit(), 0);
    QVERIFY2(next.output().endsWith(u"  ✔ Fine.\n"_s), qPrintable(next.output()));
}

bool tst_KilledProgram::openedModel(pid_t process)
{
    const QDir open(u"/proc/%1/fd"_s.arg(process));
    for (const QString &entry : open.entryList(QDir::Files | QDir::System)) {
        if (QFile::symLinkTarget(open.filePath(entry)).endsWith(u".gguf"_s))
            return true;
    }
    return false;
}

void tst_KilledProgram::whileTheModelLoads()
{
    // A model of this size is loaded very fast, so several attempts may be needed.
    bool wasLoading = false;
    for (int i = 0; i < 100 && !wasLoading; ++i) {
        Program quillon(u"" QUILLON_PROGRAM ""_s, {u"--task"_s, u"Load"_s}, options());
        const QDeadlineTimer limit(eventually);
        while (!wasLoading && !quillon.waitForOutput("Load\n", 1)) {
            QVERIFY(!limit.hasExpired());
            wasLoading = openedModel(quillon.pid());
        }
        quillon.signal(SIGKILL);
        QCOMPARE(quillon.waitForExit(), 128 + SIGKILL);
    }
    QVERIFY(wasLoading);
}

void tst_KilledProgram::whileItGenerates()
{
    giveModel({"This goes on and on and is no action at all. "}, false);
    Program quillon(u"" QUILLON_PROGRAM ""_s, {u"--task"_s, u"Think"_s}, options());
    QVERIFY(quillon.waitForOutput("Thinking…"));
    quillon.signal(SIGKILL);
    QCOMPARE(quillon.waitForExit(), 128 + SIGKILL);
}

void tst_KilledProgram::whileItAsks()
{
    giveModel({R"({"action":"trash","path":"old.zip"})"});
    Program quillon(u"" QUILLON_PROGRAM ""_s, {u"--task"_s, u"Tidy up"_s}, options());
    QVERIFY(quillon.waitForOutput("[y/N] "));
    quillon.signal(SIGKILL);
    QCOMPARE(quillon.waitForExit(), 128 + SIGKILL);
}

void tst_KilledProgram::whileItPerformsAStep()
{
    // It waits for an application that does not answer.
    m_desktop->write(u".local/share/applications/slow.desktop"_s,
                     "[Desktop Entry]\nType=Application\nName=Slow\nExec=/bin/sleep 0.1\n");
    giveModel({R"({"action":"open_app","app":"Slow"})"});
    Program quillon(u"" QUILLON_PROGRAM ""_s, {u"--task"_s, u"Open it"_s}, options());
    QVERIFY(quillon.waitForOutput("Launching Slow"));
    quillon.signal(SIGKILL);
    QCOMPARE(quillon.waitForExit(), 128 + SIGKILL);
    QVERIFY(QFile::remove(m_desktop->home(u".local/share/applications/slow.desktop"_s)));
    QVERIFY(QDir().rmdir(m_desktop->home(u".local/share/applications"_s)));
}

void tst_KilledProgram::whileThePanelAsks()
{
    giveModel({R"({"action":"trash","path":"old.zip"})"});
    {
        QProcess &quillon = m_desktop->start(u"" QUILLON_PROGRAM ""_s, QStringList());
        const ProcessId panel{quillon.processId()};
        QTRY_COMPARE(focused(), panel);
        (void)output(u"xdotool"_s, {u"type"_s, u"--delay"_s, u"10"_s, u"tidy"_s});
        // The button exists once it asks.
        const auto asks = [&] {
            if (!panelAsks(panel))
                (void)output(u"xdotool"_s, {u"key"_s, u"Return"_s});
            return QTest::qWaitFor([&] { return panelAsks(panel); }, 2000);
        };
        QVERIFY(QTest::qWaitFor(asks, eventually));
        QCOMPARE(kill(static_cast<pid_t>(panel), SIGKILL), 0);
        QVERIFY(quillon.waitForFinished());
    }
    // The next start becomes the running instance.
    QProcess &next = m_desktop->start(u"" QUILLON_PROGRAM ""_s, QStringList());
    QTRY_COMPARE(focused(), ProcessId{next.processId()});
    next.kill();
    QVERIFY(next.waitForFinished());
}

void tst_KilledProgram::whileItTypes()
{
    giveModel({typing});
    const Listener receiver(*m_desktop, u"Receiver"_s);
    Program quillon(u"" QUILLON_PROGRAM ""_s, {u"--task"_s, u"Write"_s}, options());
    waitUntilItTypes(quillon, receiver);
    QVERIFY(keyboardMap() != m_map);
    quillon.signal(SIGKILL);
    QCOMPARE(quillon.waitForExit(), 128 + SIGKILL);
    QTRY_COMPARE(m_desktop->processes(u"/quillon-keyboard"_s), QList<qint64>());
    // Nothing is typed after the kill.
    const QByteArray received = receiver.received();
    QVERIFY(received.size() < longText.size());
    QVERIFY(longText.startsWith(received));
    QCOMPARE(keyboardMap(), m_map);
    QCOMPARE(outcome(u"press_key"_s, {{u"key"_s, u"a"_s}}), u"Pressed a."_s);
    QTRY_COMPARE(receiver.received(), received + 'a');
}

void tst_KilledProgram::whileItTypesTogetherWithWhatTypes()
{
    giveModel({typing});
    const Listener receiver(*m_desktop, u"Receiver"_s);
    Program quillon(u"" QUILLON_PROGRAM ""_s, {u"--task"_s, u"Write"_s}, options());
    waitUntilItTypes(quillon, receiver);
    const QList<qint64> keyboards = m_desktop->processes(u"/quillon-keyboard"_s);
    QCOMPARE(keyboards.size(), 1);
    // First stops the process that could restore for the other one.
    quillon.signal(SIGSTOP);
    QCOMPARE(kill(static_cast<pid_t>(keyboards.first()), SIGKILL), 0);
    quillon.signal(SIGKILL);
    QCOMPARE(quillon.waitForExit(), 128 + SIGKILL);
    QTRY_COMPARE(m_desktop->processes(u"/quillon-keyboard"_s), QList<qint64>());
    QVERIFY(keyboardMap() != m_map);

    giveModel({R"({"action":"done","message":"Fine."})"});
    nextStartIsFine();
    QTRY_COMPARE(keyboardMap(), m_map);
}

void tst_KilledProgram::whatTypesAlone()
{
    giveModel({typing, R"({"action":"done","message":"Fine."})"});
    const Listener receiver(*m_desktop, u"Receiver"_s);
    Program quillon(u"" QUILLON_PROGRAM ""_s, {u"--task"_s, u"Write"_s}, options());
    waitUntilItTypes(quillon, receiver);
    const QList<qint64> keyboards = m_desktop->processes(u"/quillon-keyboard"_s);
    QCOMPARE(keyboards.size(), 1);
    QVERIFY(keyboardMap() != m_map);
    QCOMPARE(kill(static_cast<pid_t>(keyboards.first()), SIGKILL), 0);
    QTRY_COMPARE(keyboardMap(), m_map);
    QCOMPARE(quillon.waitForExit(), 0);
    QVERIFY(quillon.output().contains(u"The keyboard program ended too early."_s));
    QCOMPARE(keyboardMap(), m_map);
}

void tst_KilledProgram::whileItDownloads()
{
    HttpServer server;
    HttpServer::Answer answer;
    answer.body = "no model";
    answer.size = modelSize;
    answer.holdAfter = modelSize / 2;
    server.setAnswer(u"/test.gguf"_s, answer);
    const QStringList models = modelFiles();
    const QString us = QCoreApplication::applicationFilePath();
    const QString address = server.url(u"/test.gguf"_s).toString();
    for (int i = 0; i < 3; ++i) {
        Program quillon(us, {address}, options());
        QVERIFY(comesTo([&] {
            (void)quillon.waitForOutput("what it never prints", 1);
            return quillon.output().contains(u" 50% of ~2 MB"_s) ||
                   quillon.output().contains(u" 49% of ~2 MB"_s);
        }));
        // This start has removed the files of the last one.
        QCOMPARE(modelFiles().size(), models.size() + 1);
        QVERIFY(!modelFiles().contains(u"test.gguf"_s));
        quillon.signal(SIGKILL);
        QCOMPARE(quillon.waitForExit(), 128 + SIGKILL);
    }
    // The next start can download the model completely.
    answer.holdAfter = -1;
    server.setAnswer(u"/test.gguf"_s, answer);
    Program quillon(us, {address}, options());
    QVERIFY(comesTo([&] { return quillon.waitForExit(1).has_value(); }));
    QVERIFY(quillon.output().contains(u"Downloading Test Model"_s));
    QCOMPARE(QFile(m_desktop->home(u".local/share/Quillon/Models/test.gguf"_s)).size(), modelSize);
    QCOMPARE(modelFiles().size(), models.size() + 1);
    QVERIFY(QFile::remove(m_desktop->home(u".local/share/Quillon/Models/test.gguf"_s)));
    forgetChoice();
}

void tst_KilledProgram::whileTheDownloadGoesIntoPlace()
{
    HttpServer server;
    HttpServer::Answer answer;
    answer.body = "no model";
    answer.size = modelSize;
    server.setAnswer(u"/test.gguf"_s, answer);
    const QString file = m_desktop->home(u".local/share/Quillon/Models/test.gguf"_s);
    const QString address = server.url(u"/test.gguf"_s).toString();
    const QDir folder(m_desktop->home(u".local/share/Quillon/Models"_s));
    const auto holdsAll = [&] {
        for (const QFileInfo &each : folder.entryInfoList(QDir::Files | QDir::Hidden)) {
            if (each.size() == modelSize)
                return true;
        }
        return false;
    };
    int partial = 0;
    int whole = 0;
    constexpr int kills = 8;
    for (int i = 0; i < kills; ++i) {
        QFile::remove(file);
        for (const QString &left : folder.entryList({u"*.quillon-part"_s}, QDir::Files))
            QVERIFY(QFile::remove(folder.filePath(left)));
        Program quillon(QCoreApplication::applicationFilePath(), {address}, options());
        // Once everything is received, the file is flushed and moved. The server runs on this event
        // loop.
        QVERIFY(comesTo(holdsAll));
        if (i % 4 != 0)
            QTest::qSleep(i % 4);
        quillon.signal(SIGKILL);
        QVERIFY(quillon.waitForExit());
        // There is a complete file or none, whenever it was killed.
        if (QFile::exists(file)) {
            QCOMPARE(QFile(file).size(), modelSize);
            ++whole;
        } else {
            ++partial;
        }
    }
    QCOMPARE(partial + whole, kills);
    qInfo("%d times before it was in place, %d times after", partial, whole);
    QFile::remove(file);
    forgetChoice();
}

int main(int argc, char *argv[])
{
    const QCoreApplication application(argc, argv);
    QCoreApplication::setOrganizationName(u"Quillon"_s);
    QCoreApplication::setApplicationName(u"Quillon"_s);
    if (argc == 2 && QByteArray(argv[1]).startsWith("http://"))
        return downloadFrom(QString::fromLocal8Bit(argv[1]));
    tst_KilledProgram test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_KilledProgram.moc"
