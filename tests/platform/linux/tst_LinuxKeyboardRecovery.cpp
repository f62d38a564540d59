#include "platform/Keyboard.h"
#include "tests/platform/linux/KeyboardFixture.h"
#include "tests/support/OwnProcesses.h"
#include "tests/support/Waiting.h"

#include <QCoro/QCoroFuture>
#include <QFile>
#include <QPromise>
#include <QTimer>

#include <algorithm>
#include <csignal>
#include <cstdio>

using namespace Qt::StringLiterals;

namespace {
// Another process, which is killed: prints a line once it has typed, and keeps the source open.
QCoro::Task<void> typeAndWait(KeyEvent event)
{
    const ProcessId front = Platform::current().workspace().focusedProcess().value_or(ProcessId{});
    const std::unique_ptr<KeyboardSource> source =
        Platform::current().keyboard().open(event.text, front);
    co_await source->post(event);
    std::puts("typing");
    std::fflush(stdout);
    QPromise<void> never;
    never.start();
    co_await never.future();
}

// The number of running children with that name.
qsizetype childrenCalled(const QByteArray &name)
{
    return std::ranges::count_if(ownProcesses(), [&name](pid_t process) {
        QFile file(u"/proc/%1/comm"_s.arg(process));
        return file.open(QIODevice::ReadOnly) && file.readAll().trimmed() == name.left(15);
    });
}
} // namespace

class tst_LinuxKeyboardRecovery : public KeyboardFixture
{
    Q_OBJECT

private Q_SLOTS:
    void typesNothingIntoAHungApplication();
    void restoresTheKeyboardIfTheProgramIsKilled_data();
    void restoresTheKeyboardIfTheProgramIsKilled();
    void restoresTheKeyboardIfTheKeyboardProgramIsKilled_data();
    void restoresTheKeyboardIfTheKeyboardProgramIsKilled();
    void survivesAForgedRecord_data();
    void survivesAForgedRecord();
    void reportsAServerThatHangs();
    void reportsAServerThatEnds();

private:
    /// Starts another process, and returns when it has mapped keys ("text") or holds some ("keys").
    void startTyping(QProcess &program, const QString &what);
};

void tst_LinuxKeyboardRecovery::typesNothingIntoAHungApplication()
{
    const auto receiver = editor(u"mousepad"_s);
    const auto pid = static_cast<pid_t>(receiver->process().processId());
    QCOMPARE(kill(pid, SIGSTOP), 0);
    QCOMPARE(typed(u"Жук"_s), u"PlatformError: The application in front does not answer."_s);
    QTRY_COMPARE(keyboardMap(), m_map);
    QCOMPARE(kill(pid, SIGCONT), 0);
    QCOMPARE(typed(u"Ёж"_s), u"Typed text."_s);
    QCOMPARE(pressed(u"s"_s, u"command"_s), u"Pressed s."_s);
    QTRY_COMPARE(receiver->received().trimmed(), "Ёж"_ba);
}

void tst_LinuxKeyboardRecovery::startTyping(QProcess &program, const QString &what)
{
    program.start(QCoreApplication::applicationFilePath(), {u"--type"_s, what});
    while (!program.canReadLine())
        QVERIFY(program.waitForReadyRead());
    if (what == u"text")
        QVERIFY(keyboardMap() != m_map);
    else
        QTRY_COMPARE(m_server->keysDown().size(), 3);
}

void tst_LinuxKeyboardRecovery::restoresTheKeyboardIfTheProgramIsKilled_data()
{
    QTest::addColumn<QString>("what");
    QTest::newRow("mapped keys") << u"text"_s;
    QTest::newRow("pressed keys") << u"keys"_s;
}

void tst_LinuxKeyboardRecovery::restoresTheKeyboardIfTheProgramIsKilled()
{
    QFETCH(const QString, what);
    const auto receiver = terminal(u"dying"_s);
    m_server->strike(hardware, capsLock);
    QProcess program;
    startTyping(program, what);
    QCOMPARE(m_server->modifiers() & XCB_MOD_MASK_LOCK, 0);
    QCOMPARE(kill(static_cast<pid_t>(program.processId()), SIGKILL), 0);
    program.waitForFinished();
    QTRY_COMPARE(m_server->keysDown(), QList<int>());
    QTRY_COMPARE(keyboardMap(), m_map);
    QTRY_COMPARE(m_server->modifiers(), int{XCB_MOD_MASK_LOCK});
    m_server->strike(hardware, capsLock);
}

void tst_LinuxKeyboardRecovery::restoresTheKeyboardIfTheKeyboardProgramIsKilled_data()
{
    QTest::addColumn<QString>("what");
    QTest::addColumn<bool>("programLives");
    QTest::newRow("mapped keys, by the program") << u"text"_s << true;
    QTest::newRow("pressed keys, by the program") << u"keys"_s << true;
    QTest::newRow("mapped keys, by the next start") << u"text"_s << false;
    QTest::newRow("pressed keys, by the next start") << u"keys"_s << false;
}

void tst_LinuxKeyboardRecovery::restoresTheKeyboardIfTheKeyboardProgramIsKilled()
{
    QFETCH(const QString, what);
    QFETCH(const bool, programLives);
    const auto receiver = terminal(u"left"_s);
    m_server->strike(hardware, capsLock);
    QProcess program;
    startTyping(program, what);

    const QList<qint64> typing = m_desktop->processes(u"/quillon-keyboard"_s);
    QCOMPARE(typing.size(), 1);
    const auto ours = static_cast<pid_t>(program.processId());
    if (!programLives)
        QCOMPARE(kill(ours, SIGSTOP), 0);
    QCOMPARE(kill(static_cast<pid_t>(typing.first()), SIGKILL), 0);
    if (!programLives) {
        QCOMPARE(kill(ours, SIGKILL), 0);
        QVERIFY(program.waitForFinished());
        QVERIFY(keyboardMap() != m_map || !m_server->keysDown().isEmpty());
        Platform::current().keyboard().recover();
    }
    QTRY_COMPARE(m_server->keysDown(), QList<int>());
    QTRY_COMPARE(keyboardMap(), m_map);
    QTRY_COMPARE(m_server->modifiers(), int{XCB_MOD_MASK_LOCK});
    m_server->strike(hardware, capsLock);
    if (programLives) {
        program.kill();
        QVERIFY(program.waitForFinished());
    }
    receiver->forget();
    QCOMPARE(typed(u"Жук"_s), u"Typed text."_s);
    QTRY_COMPARE(receiver->received(), "Жук"_ba);
}

void tst_LinuxKeyboardRecovery::survivesAForgedRecord_data()
{
    QTest::addColumn<QByteArray>("record");
    QTest::newRow("another format") << QByteArray("\7\0", 2);
    QTest::newRow("nothing but its format") << QByteArray("\1", 1);
    QTest::newRow("half a key") << QByteArray("\1\0\x26\1\x0c", 5);
    QTest::newRow("an entry that is too long") << QByteArray("\1\0\x26\1\xff\xff", 6);
    QTest::newRow("an entry that is too short") << QByteArray("\1\0\x26\1\1\0\0", 7);
    QTest::newRow("a key that there is not")
        << QByteArray("\1\0\1\1", 4) + (QByteArray("\x08\0", 2) + QByteArray(8, '\0')).repeated(2);
    QTest::newRow("random") << QByteArray("\1\0", 2) + QByteArray("\x26\x5a\x13").repeated(3000);
}

void tst_LinuxKeyboardRecovery::survivesAForgedRecord()
{
    QFETCH(const QByteArray, record);
    const auto receiver = terminal(u"forged"_s);
    const QByteArray name = "_QUILLON_KEYBOARD_0";
    const std::unique_ptr<xcb_intern_atom_reply_t, decltype(&std::free)> atom(
        xcb_intern_atom_reply(m_server->connection(),
                              xcb_intern_atom(m_server->connection(), 0,
                                              static_cast<uint16_t>(name.size()), name.constData()),
                              nullptr),
        &std::free);
    const xcb_screen_t *const screen =
        xcb_setup_roots_iterator(xcb_get_setup(m_server->connection())).data;
    xcb_change_property(m_server->connection(), XCB_PROP_MODE_REPLACE, screen->root, atom->atom,
                        XCB_ATOM_INTEGER, 8, static_cast<uint32_t>(record.size()),
                        record.constData());
    m_server->sync();
    QCOMPARE(typed(u"Жук"_s), u"Typed text."_s);
    QTRY_COMPARE(receiver->received(), "Жук"_ba);
    QTRY_COMPARE(keyboardMap(), m_map);
}

void tst_LinuxKeyboardRecovery::reportsAServerThatHangs()
{
    const auto receiver = terminal(u"hanging"_s);
    const auto server = static_cast<pid_t>(m_desktop->server());
    QCOMPARE(kill(server, SIGSTOP), 0);
    const ProcessId terminal{receiver->process().processId()};
    const auto post = [terminal]() -> QCoro::Task<QString> {
        const std::unique_ptr<KeyboardSource> source =
            Platform::current().keyboard().open({}, terminal);
        const KeyEvent event{.isDown = true, .text = u"text"_s};
        co_await source->post(event);
        co_return u"posted"_s;
    };
    QCOMPARE(outcome(post()), u"PlatformError: The X server does not answer."_s);
    QCOMPARE(typed(u"text"_s), u"PlatformError: The X server does not answer."_s);
    QCOMPARE(kill(server, SIGCONT), 0);
    QTRY_COMPARE(Platform::current().workspace().focusedProcess(),
                 ProcessId{receiver->process().processId()});
    QCOMPARE(typed(u"again"_s), u"Typed text."_s);
    QTRY_COMPARE(receiver->received(), "again"_ba);
}

void tst_LinuxKeyboardRecovery::reportsAServerThatEnds()
{
    const auto receiver = terminal(u"dead"_s);
    m_server.reset();
    QTimer::singleShot(200, this, [this] { m_desktop->endServer(); });
    const QString result = typed(u"0123456789"_s.repeated(500));
    QVERIFY2(result == u"PlatformError: The X server went away."_s ||
                 result == u"ActionError: Typing stopped because the application is no longer in "
                           "front."_s,
             qPrintable(result));
    QCOMPARE(pressed(u"a"_s), u"PlatformError: The X server does not answer."_s);
    // The keyboard program exits after its server.
    QTRY_COMPARE(childrenCalled("quillon-keyboard"), 0);
}

int main(int count, char **arguments)
{
    const QCoreApplication application(count, arguments);
    if (application.arguments().value(1) == u"--type") {
        const KeyEvent event = application.arguments().value(2) == u"text"
                                   ? KeyEvent{.isDown = true, .text = u"Жук"_s}
                                   : KeyEvent{.code = 0, .flags = 0x120000, .isDown = true};
        const QCoro::Task<void> task = typeAndWait(event);
        return application.exec();
    }
    tst_LinuxKeyboardRecovery test;
    return QTest::qExec(&test, count, arguments);
}

#include "tst_LinuxKeyboardRecovery.moc"
