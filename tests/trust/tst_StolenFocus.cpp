// Another window takes the focus between the decision and the key: it must not receive a key.

#include "agent/AgentSession.h"
#include "models/LocalModel.h"
#include "models/ModelManager.h"
#include "tests/support/OwnProcesses.h"
#include "tests/support/ScriptedEngine.h"
#include "tests/support/TestModel.h"
#include "tests/support/Waiting.h"
#include "tests/trust/Typists.h"

#include <QTimer>

using namespace Qt::StringLiterals;
using namespace Typists;

namespace {
const QByteArray digits = "0123456789";

/// A window that takes the focus at the wrong moment.
class Thief
{
public:
    enum class Kind { terminal, passwordDialog };

    Thief(VirtualDesktop &desktop, Kind kind)
    {
        if (kind == Kind::terminal)
            m_terminal = std::make_unique<Listener>(desktop, u"Thief"_s);
        else
            m_dialog = std::make_unique<PasswordDialog>(desktop);
    }
    [[nodiscard]] ProcessId pid() const { return m_terminal ? m_terminal->pid() : m_dialog->pid(); }
    void steal() const { giveKeyboard(pid()); }
    /// What was typed into it. Closes it if it is a dialog.
    [[nodiscard]] QByteArray loot() const
    {
        return m_terminal ? m_terminal->received() : m_dialog->takeContent();
    }

private:
    std::unique_ptr<Listener> m_terminal;
    std::unique_ptr<PasswordDialog> m_dialog;
};

/// Runs an action and records its outcome while the test continues.
class Running
{
public:
    Running(const QString &name, const QMap<QString, QString> &args)
        : m_task(follow(told(Executor::run(action(name, args))), *this))
    {
    }

    [[nodiscard]] QString end() const
    {
        if (!QTest::qWaitFor([this] { return m_end.has_value(); }, eventually))
            qFatal("The action does not end.");
        return *m_end;
    }

private:
    static QCoro::Task<> follow(QCoro::Task<QString> task, Running &self)
    {
        self.m_end = co_await task;
    }

    std::optional<QString> m_end;
    QCoro::Task<> m_task;
};

bool tellsOfTheft(const QString &outcome)
{
    return outcome.section(u": "_s, 1) ==
               u"Typing stopped because the application is no longer in front."_s ||
           outcome.section(u": "_s, 1) == u"The application is no longer in front."_s;
}
} // namespace

class tst_StolenFocus : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void cleanup();

    void beforeTheFirstKey_data();
    void beforeTheFirstKey();
    void inTheMiddleOfAText_data();
    void inTheMiddleOfAText();
    void betweenApprovalAndKey_data();
    void betweenApprovalAndKey();
    void byTheAssistantsOwnPanel();

private:
    std::unique_ptr<VirtualDesktop> m_desktop;
    QByteArray m_map;
};

void tst_StolenFocus::initTestCase()
{
    m_desktop = std::make_unique<VirtualDesktop>();
    m_desktop->enableAccessibility();
    m_map = keyboardMap();
}

void tst_StolenFocus::cleanup()
{
    if (!m_desktop)
        return;
    QTRY_COMPARE(m_desktop->processes(u"/quillon-keyboard"_s), QList<qint64>());
    QCOMPARE(keysDown(), 0);
    QCOMPARE(keyboardMap(), m_map);
}

void tst_StolenFocus::beforeTheFirstKey_data()
{
    QTest::addColumn<Thief::Kind>("kind");
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("argument");
    for (const auto kind : {Thief::Kind::terminal, Thief::Kind::passwordDialog}) {
        const char *const thief = kind == Thief::Kind::terminal ? "terminal" : "password dialog";
        QTest::addRow("text, %s", thief) << kind << u"type_text"_s << u"secret"_s;
        QTest::addRow("text with mapped keys, %s", thief) << kind << u"type_text"_s << u"тайна"_s;
        QTest::addRow("key, %s", thief) << kind << u"press_key"_s << u"a"_s;
    }
}

static bool serverAnswers()
{
    QProcess probe;
    probe.start(u"xdotool"_s, {u"getmouselocation"_s});
    const bool answers = probe.waitForFinished(500);
    probe.kill();
    probe.waitForFinished();
    return answers;
}

/// Sends the signal to the processes that have started since then; returns whether there are any.
static bool signalNew(const QList<pid_t> &before, int signal)
{
    bool isAny = false;
    for (const pid_t child : ownProcesses()) {
        if (!before.contains(child)) {
            kill(child, signal);
            isAny = true;
        }
    }
    return isAny;
}

/// Lets the thief steal while the processes that have started since then are stopped.
static void stealWhileStopped(const Thief &thief, const QList<pid_t> &before)
{
    signalNew(before, SIGSTOP);
    // If one were stopped during its server grab, it would block the thief for ever.
    while (!serverAnswers()) {
        signalNew(before, SIGCONT);
        QThread::usleep(100);
        signalNew(before, SIGSTOP);
    }
    thief.steal();
    signalNew(before, SIGCONT);
}

void tst_StolenFocus::beforeTheFirstKey()
{
    QFETCH(const Thief::Kind, kind);
    QFETCH(const QString, name);
    QFETCH(const QString, argument);
    const Thief thief(*m_desktop, kind);
    const Listener receiver(*m_desktop, u"Receiver"_s);
    const QList<pid_t> before = ownProcesses();

    // The decision is made, and the keyboard program starts.
    const Running running(name, {{u"text"_s, argument}, {u"key"_s, argument}});
    stealWhileStopped(thief, before);

    const QString end = running.end();
    QCOMPARE(thief.loot(), QByteArray());
    QCOMPARE(receiver.received(), QByteArray());
    QVERIFY2(tellsOfTheft(end) || end == u"PlatformError: The X server does not answer."_s,
             qPrintable(end));
}

void tst_StolenFocus::inTheMiddleOfAText_data()
{
    QTest::addColumn<Thief::Kind>("kind");
    QTest::newRow("terminal") << Thief::Kind::terminal;
    QTest::newRow("password dialog") << Thief::Kind::passwordDialog;
}

void tst_StolenFocus::inTheMiddleOfAText()
{
    QFETCH(const Thief::Kind, kind);
    const Thief thief(*m_desktop, kind);
    const Listener receiver(*m_desktop, u"Receiver"_s);
    const QByteArray text = digits.repeated(400);
    QTimer watch;
    connect(&watch, &QTimer::timeout, &watch, [&] {
        if (receiver.received().size() > 100) {
            watch.stop();
            thief.steal();
        }
    });
    watch.start(5);
    const QString end = outcome(u"type_text"_s, {{u"text"_s, QString::fromLatin1(text)}});
    QVERIFY2(tellsOfTheft(end), qPrintable(end));
    QCOMPARE(thief.loot(), QByteArray());
    QVERIFY(receiver.received().size() < text.size());
    QVERIFY(text.startsWith(receiver.received()));
}

void tst_StolenFocus::betweenApprovalAndKey_data()
{
    QTest::addColumn<Thief::Kind>("kind");
    QTest::addColumn<bool>("stealsAfterApproval");
    QTest::newRow("terminal, while it is asked") << Thief::Kind::terminal << false;
    QTest::newRow("password dialog, while it is asked") << Thief::Kind::passwordDialog << false;
    QTest::newRow("terminal, after it was allowed") << Thief::Kind::terminal << true;
    QTest::newRow("password dialog, after it was allowed") << Thief::Kind::passwordDialog << true;
}

void tst_StolenFocus::betweenApprovalAndKey()
{
    QFETCH(const Thief::Kind, kind);
    QFETCH(const bool, stealsAfterApproval);
    const Thief thief(*m_desktop, kind);
    const Listener mail(*m_desktop, u"Mail"_s);
    const auto engine = std::make_shared<ScriptedEngine>();
    engine->addReplies({uR"({"action":"press_key","key":"return"})"_s,
                        uR"({"action":"done","message":"Sent."})"_s});
    m_desktop->write(u".local/share/Quillon/Models/"_s + LocalModel::catalog().first().fileName,
                     {});
    ModelManager manager(engine);
    QCoro::waitFor(manager.loadIfNeeded());
    AgentSession session(manager);
    session.submit(u"Send it"_s);
    QTRY_VERIFY(session.pending());
    QCOMPARE(session.pending()->reason, u"Press Return in Mail — this may send a message"_s);

    const QList<pid_t> before = ownProcesses();
    if (!stealsAfterApproval)
        thief.steal();
    session.resolve(true);
    if (stealsAfterApproval) {
        // When the keys are about to be pressed.
        QVERIFY(QTest::qWaitFor([&] { return signalNew(before, SIGSTOP) || !session.isRunning(); },
                                eventually));
        stealWhileStopped(thief, before);
    }
    QTRY_VERIFY(!session.isRunning());
    QCOMPARE(thief.loot(), QByteArray());
    // The key may have been pressed before, in the intended window.
    const QString line = session.turns().constFirst().log.constFirst().text;
    if (stealsAfterApproval && line == u"Pressing return"_s)
        QCOMPARE(mail.received(), "\n"_ba);
    else
        QCOMPARE(mail.received(), QByteArray());
    if (!stealsAfterApproval)
        QCOMPARE(line, u"Pressing return — Another application has come to the front meanwhile."_s);
}

void tst_StolenFocus::byTheAssistantsOwnPanel()
{
    const QString file = u".local/share/Quillon/Models/"_s + LocalModel::catalog().first().fileName;
    m_desktop->write(file, {});
    const QByteArray text = digits.repeated(300);
    TestModel model = TestModel::saying(
        {R"({"action":"type_text","text":")" + text + R"("})", R"({"action":"done"})"});
    model.bytesPerPiece = 40;
    model.write(m_desktop->home(file));

    const Listener receiver(*m_desktop, u"Receiver"_s);
    QProcess &quillon = m_desktop->start(u"" QUILLON_PROGRAM ""_s, QStringList());
    const ProcessId panel{quillon.processId()};
    QTRY_COMPARE(focused(), panel);
    // Return has no effect until the model is loaded.
    (void)output(u"xdotool"_s, {u"type"_s, u"--delay"_s, u"10"_s, u"write"_s});
    const auto isWriting = [&] {
        if (focused() == panel && receiver.received().isEmpty())
            (void)output(u"xdotool"_s, {u"key"_s, u"Return"_s});
        return QTest::qWaitFor([&] { return !receiver.received().isEmpty(); }, 2000);
    };
    QVERIFY(QTest::qWaitFor(isWriting, eventually));
    giveKeyboard(panel);
    QTRY_COMPARE(m_desktop->processes(u"/quillon-keyboard"_s), QList<qint64>());
    QVERIFY(!receiver.received().isEmpty());
    QVERIFY(receiver.received().size() < text.size());
    QVERIFY(text.startsWith(receiver.received()));
    // The field has only what the user types next.
    const QByteArray received = receiver.received();
    giveKeyboard(panel);
    (void)output(u"xdotool"_s, {u"type"_s, u"--delay"_s, u"10"_s, u"next"_s});
    (void)output(u"xdotool"_s, {u"key"_s, u"ctrl+a"_s, u"ctrl+c"_s});
    giveKeyboard(receiver.pid());
    (void)output(u"xdotool"_s, {u"key"_s, u"shift+Insert"_s});
    QTRY_COMPARE(receiver.received(), received + "next");
    quillon.kill();
    quillon.waitForFinished(-1);
}

QTEST_GUILESS_MAIN(tst_StolenFocus)
#include "tst_StolenFocus.moc"
