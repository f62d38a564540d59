#include "executor/Executor.h"
#include "platform/Keyboard.h"
#include "platform/Platform.h"
#include "tests/executor/Running.h"
#include "tests/platform/linux/TestWindow.h"
#include "tests/support/OwnProcesses.h"

#include <QCoro/QCoroFuture>
#include <QFile>
#include <QPromise>
#include <QTest>
#include <QTimer>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <memory>

#include <xcb/xcb.h>
#include <xcb/xinput.h>
#include <xcb/xtest.h>
// One of its fields bears the name of a keyword.
#define explicit isExplicit
#include <xcb/xkb.h>
#undef explicit

using namespace Qt::StringLiterals;

namespace {
// Letters of both cases and scripts, characters of every level, what keeps its shape only in one
// piece, more different characters than there are spare keys, line breaks and tabs.
const QString everything =
    u"The quick \"brown\" fox; 0123456789 !@#$%^&*()_+-=[]{}\\|;:',./<>?`~\n"
    "Größe, naïveté, ÇA où ÿŸ ẞß ₤€ ½\tŁódź İıσςΣ\r\n"
    "Жук шёл, ЁЖ щи їґ — «кавычки» 東京特許許可局 한국어 ไทย العربية עברית हिन्दी\r"
    "😀 👨‍👩‍👧‍👦 ✊🏽 ❤️ 1️⃣ 🇩🇪🇯🇵 🏴󠁧󠁢󠁥󠁮󠁧󠁿 e\u0301o\u0308\u0323 𝔘𝔫𝔦 end"_s;

QString asWritten(QString text)
{
    return text.replace(u"\r\n"_s, u"\n"_s).replace(u'\r', u'\n');
}

QString typed(const QString &text)
{
    return outcome(u"type_text"_s, {{u"text"_s, text}});
}

QString pressed(const QString &key, const QString &modifiers = {})
{
    return outcome(u"press_key"_s, {{u"key"_s, key}, {u"modifiers"_s, modifiers}});
}

QByteArray content(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

// Runs a program to its end and returns what it wrote.
QByteArray output(const QString &program, const QStringList &arguments)
{
    QProcess process;
    process.setStandardErrorFile(QProcess::nullDevice());
    process.start(program, arguments);
    if (!process.waitForFinished() || process.exitCode() != 0)
        qFatal("%s failed.", qPrintable(program));
    return process.readAllStandardOutput();
}

QByteArray keyboardMap()
{
    return output(u"xkbcomp"_s, {qEnvironmentVariable("DISPLAY"), u"-"_s});
}

void setLayout(const QStringList &arguments)
{
    output(u"setxkbmap"_s, QStringList{u"-option"_s, u""_s} + arguments);
}

/// What is the case at the X server, over a connection of the test's own.
class Server
{
public:
    Server() : m_connection(xcb_connect(nullptr, nullptr), &xcb_disconnect)
    {
        const auto *const input = xcb_get_extension_data(connection(), &xcb_input_id);
        m_firstEvent = input->first_event;
        std::free(xcb_xkb_use_extension_reply(connection(),
                                              xcb_xkb_use_extension(connection(), 1, 0), nullptr));
        std::free(xcb_input_xi_query_version_reply(
            connection(), xcb_input_xi_query_version(connection(), 2, 2), nullptr));
    }

    [[nodiscard]] xcb_connection_t *connection() const { return m_connection.get(); }

    /// The keys that are down.
    [[nodiscard]] QList<int> keysDown() const
    {
        const std::unique_ptr<xcb_query_keymap_reply_t, decltype(&std::free)> reply(
            xcb_query_keymap_reply(connection(), xcb_query_keymap(connection()), nullptr),
            &std::free);
        QList<int> down;
        for (int code = 0; reply && code < 256; ++code) {
            if (reply->keys[code / 8] >> (code % 8) & 1)
                down.append(code);
        }
        return down;
    }

    /// The modifiers that are in effect.
    [[nodiscard]] int modifiers() const
    {
        const std::unique_ptr<xcb_query_pointer_reply_t, decltype(&std::free)> reply(
            xcb_query_pointer_reply(connection(), xcb_query_pointer(connection(), screen()->root),
                                    nullptr),
            &std::free);
        return reply->mask & 0xff;
    }

    /// The keyboard of that name.
    [[nodiscard]] int device(const QByteArray &keyboard) const
    {
        const std::unique_ptr<xcb_input_xi_query_device_reply_t, decltype(&std::free)> all(
            xcb_input_xi_query_device_reply(connection(),
                                            xcb_input_xi_query_device(connection(), 0), nullptr),
            &std::free);
        auto each = xcb_input_xi_query_device_infos_iterator(all.get());
        for (; each.rem > 0; xcb_input_xi_device_info_next(&each)) {
            if (QByteArray(xcb_input_xi_device_info_name(each.data), each.data->name_len) ==
                keyboard)
                return each.data->deviceid;
        }
        qFatal("There is no keyboard %s.", keyboard.constData());
    }

    /// Does what somebody's finger does, on the keyboard of that name.
    void finger(const QByteArray &keyboard, xcb_keycode_t code, bool presses)
    {
        const int type =
            m_firstEvent + (presses ? XCB_INPUT_DEVICE_KEY_PRESS : XCB_INPUT_DEVICE_KEY_RELEASE);
        xcb_test_fake_input(connection(), static_cast<uint8_t>(type), code, 0, 0, 0, 0,
                            static_cast<uint8_t>(device(keyboard)));
        sync();
    }

    [[nodiscard]] int group() const
    {
        const std::unique_ptr<xcb_xkb_get_state_reply_t, decltype(&std::free)> reply(
            xcb_xkb_get_state_reply(
                connection(), xcb_xkb_get_state(connection(), XCB_XKB_ID_USE_CORE_KBD), nullptr),
            &std::free);
        return reply->group;
    }

    void lockGroup(int group)
    {
        xcb_xkb_latch_lock_state(connection(), XCB_XKB_ID_USE_CORE_KBD, 0, 0, 1,
                                 static_cast<uint8_t>(group), 0, 0, 0);
        sync();
    }

    /// A window of this very process, which the window manager brings to the front.
    [[nodiscard]] xcb_window_t showWindow() const
    {
        const xcb_window_t window = xcb_generate_id(connection());
        xcb_create_window(connection(), XCB_COPY_FROM_PARENT, window, screen()->root, 600, 400, 200,
                          100, 0, XCB_WINDOW_CLASS_INPUT_OUTPUT, screen()->root_visual, 0, nullptr);
        xcb_map_window(connection(), window);
        sync();
        return window;
    }

    void closeWindow(xcb_window_t window) const
    {
        xcb_destroy_window(connection(), window);
        sync();
    }

    void sync() const
    {
        std::free(
            xcb_get_input_focus_reply(connection(), xcb_get_input_focus(connection()), nullptr));
    }

    [[nodiscard]] const xcb_screen_t *screen() const
    {
        return xcb_setup_roots_iterator(xcb_get_setup(connection())).data;
    }

private:
    std::unique_ptr<xcb_connection_t, decltype(&xcb_disconnect)> m_connection;
    int m_firstEvent = 0;
};

const QByteArray hardware = "Xvfb keyboard"_ba;
const QByteArray programs = "Virtual core XTEST keyboard"_ba;
constexpr xcb_keycode_t leftShift = 50;
constexpr xcb_keycode_t leftControl = 37;
constexpr xcb_keycode_t leftAlt = 64;
constexpr xcb_keycode_t leftSuper = 133;
constexpr xcb_keycode_t capsLock = 66;
constexpr xcb_keycode_t numLock = 77;

/// A window of another program into which text can be typed.
class Receiver
{
public:
    Receiver(VirtualDesktop &desktop, const QString &program, const QStringList &arguments,
             const QString &file)
        : m_process(desktop.start(program, arguments)), m_file(file)
    {
        const ProcessId pid{m_process.processId()};
        if (!QTest::qWaitFor(
                [&] { return Platform::current().workspace().focusedProcess() == pid; }, 60'000))
            qFatal("%s did not come to the front.", qPrintable(program));
    }

    ~Receiver()
    {
        m_process.kill();
        m_process.waitForFinished();
    }
    Receiver(const Receiver &) = delete;
    Receiver &operator=(const Receiver &) = delete;

    void bringForward() const
    {
        const ProcessId pid{m_process.processId()};
        Platform::current().workspace().activate(pid);
        QTRY_COMPARE(Platform::current().workspace().focusedProcess(), pid);
    }

    [[nodiscard]] QProcess &process() { return m_process; }
    /// What it has received so far, apart from what is forgotten.
    [[nodiscard]] QByteArray received() const { return content(m_file).mid(m_forgotten); }
    void forget() { m_forgotten = content(m_file).size(); }

private:
    QProcess &m_process;
    QString m_file;
    qsizetype m_forgotten = 0;
};

// A terminal that writes down what it gets.
std::unique_ptr<Receiver> terminal(VirtualDesktop &desktop, const QString &name)
{
    const QString file = desktop.home(name);
    QFile::remove(file);
    QFile::remove(file + u".begun"_s);
    auto receiver = std::make_unique<Receiver>(
        desktop, u"xterm"_s,
        QStringList{u"-u8"_s, u"-xrm"_s, u"*altSendsEscape: true"_s, u"-xrm"_s,
                    u"*metaSendsEscape: true"_s, u"-e"_s, u"sh"_s, u"-c"_s,
                    u"stty -icanon -echo -isig min 1; : > '%1.begun'; exec cat > '%1'"_s.arg(file)},
        file);
    if (!QTest::qWaitFor([&] { return QFile::exists(file + u".begun"_s); }, 60'000))
        qFatal("The terminal did not start.");
    // It drops keys until it has processed the focus change.
    while (receiver->received().isEmpty()) {
        (void)pressed(u"x"_s);
        (void)QTest::qWaitFor([&] { return !receiver->received().isEmpty(); }, 500);
    }
    (void)pressed(u"."_s);
    if (!QTest::qWaitFor([&] { return receiver->received().endsWith('.'); }, 60'000))
        qFatal("The terminal lost a key.");
    receiver->forget();
    return receiver;
}

// An editor with a file that has been saved once, and is selected as a whole.
std::unique_ptr<Receiver> editor(VirtualDesktop &desktop, const QString &program,
                                 const QStringList &options = {})
{
    const QString name = program + u".txt"_s;
    desktop.write(name, "");
    auto receiver = std::make_unique<Receiver>(
        desktop, program, options + QStringList{desktop.home(name)}, desktop.home(name));
    // Editors open their files only after their windows.
    while (receiver->received().isEmpty()) {
        (void)typed(u"x"_s);
        (void)pressed(u"s"_s, u"command"_s);
        (void)QTest::qWaitFor([&] { return !receiver->received().isEmpty(); }, 1'000);
    }
    (void)pressed(u"a"_s, u"command"_s);
    return receiver;
}

// Types for another process than this one, which is going to be killed; says when it is at it.
QCoro::Task<void> typeAndWait(KeyEvent event)
{
    const ProcessId front = Platform::current().workspace().focusedProcess().value_or(ProcessId{});
    const std::unique_ptr<KeyboardSource> source =
        Platform::current().keyboard().open(event.text, front);
    co_await source->post(event);
    std::puts("at it");
    std::fflush(stdout);
    QPromise<void> never;
    never.start();
    co_await never.future();
}

/// How many programs of that name this process has started that still run.
qsizetype childrenCalled(const QByteArray &name)
{
    return std::ranges::count_if(ownProcesses(), [&name](pid_t process) {
        QFile file(u"/proc/%1/comm"_s.arg(process));
        return file.open(QIODevice::ReadOnly) && file.readAll().trimmed() == name.left(15);
    });
}
} // namespace

class tst_LinuxKeyboard : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void cleanup();

    void textReachesApplicationsExactly_data();
    void textReachesApplicationsExactly();
    void textReachesTerminalsExactly();
    void layoutsMakeNoDifference_data();
    void layoutsMakeNoDifference();
    void aLayoutOfTheHardwareAloneMakesNoDifference();
    void locksMakeNoDifference_data();
    void locksMakeNoDifference();
    void heldModifiersMakeNoDifference_data();
    void heldModifiersMakeNoDifference();
    void aModifierThatIsLetGoMeanwhileStaysUp();

    void keysDoWhatTheyDo_data();
    void keysDoWhatTheyDo();
    void shortcutsWorkInForeignLayouts_data();
    void shortcutsWorkInForeignLayouts();

    void aModifierThatTheLayoutLacksIsTold_data();
    void aModifierThatTheLayoutLacksIsTold();

    void theApplicationBehindOurWindowGetsTheText();
    void typingStopsWhenAnotherWindowComesForward();
    void anApplicationThatHangsGetsNothing();

    void aProgramThatDiesLeavesNoTrace_data();
    void aProgramThatDiesLeavesNoTrace();
    void whatAKilledKeyboardProgramLeftIsPutBack_data();
    void whatAKilledKeyboardProgramLeftIsPutBack();
    void aForgedRecordDoesNoHarm_data();
    void aForgedRecordDoesNoHarm();
    void aServerThatHangsIsTold();
    void aServerThatDiesIsTold();

private:
    std::unique_ptr<VirtualDesktop> m_desktop;
    std::unique_ptr<Server> m_server;
    std::unique_ptr<Receiver> m_terminal; ///< Of the test with a row for each key.
    QByteArray m_map;
};

void tst_LinuxKeyboard::initTestCase()
{
    qputenv("LC_ALL", "C.UTF-8");
    qputenv("GSK_RENDERER", "cairo");
    qputenv("GDK_BACKEND", "x11");
    qputenv("QT_QPA_PLATFORM", "xcb");
    m_desktop = std::make_unique<VirtualDesktop>();
    m_desktop->enableAccessibility();
    // It would help with what is typed.
    m_desktop->write(u".config/featherpad/fp.conf"_s,
                     "[text]\nautoIndentation=false\nappendEmptyLine=false\n");
    m_server = std::make_unique<Server>();
    m_map = keyboardMap();
}

void tst_LinuxKeyboard::cleanup()
{
    if (!m_server)
        return;
    QCOMPARE(m_server->keysDown(), QList<int>());
    QCOMPARE(m_server->modifiers(), 0);
    setLayout({u"us"_s});
    QCOMPARE(keyboardMap(), m_map);
}

void tst_LinuxKeyboard::textReachesApplicationsExactly_data()
{
    QTest::addColumn<QString>("program");
    QTest::addColumn<QStringList>("options");
    QTest::newRow("GTK 3") << u"mousepad"_s << QStringList();
    QTest::newRow("GTK 4") << u"gnome-text-editor"_s << QStringList{u"--standalone"_s};
    QTest::newRow("Qt") << u"featherpad"_s << QStringList{u"--standalone"_s};
}

void tst_LinuxKeyboard::textReachesApplicationsExactly()
{
    QFETCH(QString, program);
    QFETCH(QStringList, options);
    const auto receiver = editor(*m_desktop, program, options);
    QCOMPARE(typed(everything), u"Typed text."_s);
    QCOMPARE(keyboardMap(), m_map);
    QCOMPARE(pressed(u"s"_s, u"command"_s), u"Pressed s."_s);
    QTRY_COMPARE_WITH_TIMEOUT(QString::fromUtf8(receiver->received()).trimmed(),
                              asWritten(everything), 20'000);
}

void tst_LinuxKeyboard::textReachesTerminalsExactly()
{
    const auto receiver = terminal(*m_desktop, u"terminal"_s);
    QCOMPARE(typed(everything), u"Typed text."_s);
    QCOMPARE(keyboardMap(), m_map);
    QTRY_COMPARE(QString::fromUtf8(receiver->received()), asWritten(everything));
    // No key types these: control characters, and half a character.
    QCOMPARE(typed(u"a\x01\x1b\x7f\u0085"_s + QChar(0xd83d) + u'b'), u"Typed text."_s);
    QTRY_COMPARE(QString::fromUtf8(receiver->received()), asWritten(everything) + u"a\ufffdb"_s);
}

void tst_LinuxKeyboard::layoutsMakeNoDifference_data()
{
    QTest::addColumn<QStringList>("layout");
    QTest::addColumn<int>("group");
    QTest::newRow("us") << QStringList{u"us"_s} << 0;
    QTest::newRow("German") << QStringList{u"de"_s} << 0;
    QTest::newRow("French") << QStringList{u"fr"_s} << 0;
    QTest::newRow("Russian") << QStringList{u"ru"_s} << 0;
    QTest::newRow("Dvorak") << QStringList{u"us"_s, u"-variant"_s, u"dvorak"_s} << 0;
    QTest::newRow("Neo") << QStringList{u"de"_s, u"-variant"_s, u"neo"_s} << 0;
    QTest::newRow("second of two") << QStringList{u"us,ru"_s} << 1;
    QTest::newRow("third of three") << QStringList{u"us,fr,gr"_s} << 2;
}

void tst_LinuxKeyboard::layoutsMakeNoDifference()
{
    QFETCH(QStringList, layout);
    QFETCH(int, group);
    const auto receiver = terminal(*m_desktop, u"layout"_s);
    setLayout(layout);
    m_server->lockGroup(group);
    const QByteArray map = keyboardMap();
    const QString text =
        everything.section(u'\n', 0, 0) +
        u"\täöüÄ ẞß Жук шёл ЁЖ σς 東京 👨‍👩‍👧‍👦 🇩🇪"_s;
    QCOMPARE(typed(text), u"Typed text."_s);
    QCOMPARE(keyboardMap(), map);
    QCOMPARE(m_server->group(), group);
    QTRY_COMPARE(QString::fromUtf8(receiver->received()), text);
    m_server->lockGroup(0);
}

void tst_LinuxKeyboard::aLayoutOfTheHardwareAloneMakesNoDifference()
{
    const auto receiver = terminal(*m_desktop, u"hardware"_s);
    setLayout({u"-device"_s, QString::number(m_server->device(hardware)), u"fr"_s});
    m_server->finger(hardware, 24, true);
    m_server->finger(hardware, 24, false);
    QTRY_COMPARE(receiver->received(), "a"_ba);
    const QByteArray map = keyboardMap();
    QVERIFY(map != m_map);
    const QString text = u"qwerty azerty äöü Жук"_s;
    QCOMPARE(typed(text), u"Typed text."_s);
    QTRY_COMPARE(QString::fromUtf8(receiver->received()), u'a' + text);
    // Whoever goes on at the hardware finds it as it was.
    m_server->finger(hardware, 24, true);
    m_server->finger(hardware, 24, false);
    QTRY_COMPARE(QString::fromUtf8(receiver->received()), u'a' + text + u'a');
    QCOMPARE(keyboardMap(), map);
}

void tst_LinuxKeyboard::locksMakeNoDifference_data()
{
    QTest::addColumn<QList<int>>("keys");
    QTest::addColumn<int>("modifiers");
    QTest::newRow("Caps Lock") << QList<int>{capsLock} << int{XCB_MOD_MASK_LOCK};
    QTest::newRow("Num Lock") << QList<int>{numLock} << int{XCB_MOD_MASK_2};
    QTest::newRow("both") << QList<int>{capsLock, numLock} << (XCB_MOD_MASK_LOCK | XCB_MOD_MASK_2);
}

void tst_LinuxKeyboard::locksMakeNoDifference()
{
    QFETCH(QList<int>, keys);
    QFETCH(int, modifiers);
    const auto receiver = terminal(*m_desktop, u"locks"_s);
    const auto strike = [&] {
        for (const int key : keys) {
            m_server->finger(hardware, static_cast<xcb_keycode_t>(key), true);
            m_server->finger(hardware, static_cast<xcb_keycode_t>(key), false);
        }
    };
    strike();
    QCOMPARE(m_server->modifiers(), modifiers);
    const QString text = u"aZ1! äÖ жЖ"_s;
    QCOMPARE(typed(text), u"Typed text."_s);
    QCOMPARE(pressed(u"a"_s), u"Pressed a."_s);
    QCOMPARE(m_server->modifiers(), modifiers);
    QTRY_COMPARE(QString::fromUtf8(receiver->received()), text + u'a');
    strike();
}

void tst_LinuxKeyboard::heldModifiersMakeNoDifference_data()
{
    QTest::addColumn<QByteArray>("keyboard");
    QTest::addColumn<QList<int>>("keys");
    for (const QByteArray &keyboard : {hardware, programs}) {
        const auto row = [&](const char *name, const QList<int> &keys) {
            QTest::addRow("%s, %s", name, keyboard.constData()) << keyboard << keys;
        };
        row("Shift", {leftShift});
        row("Control", {leftControl});
        row("Alt", {leftAlt});
        row("Super", {leftSuper});
        row("Shift and Control", {leftControl, leftShift});
    }
}

void tst_LinuxKeyboard::heldModifiersMakeNoDifference()
{
    QFETCH(QByteArray, keyboard);
    QFETCH(QList<int>, keys);
    const auto receiver = terminal(*m_desktop, u"held"_s);
    for (const int key : keys)
        m_server->finger(keyboard, static_cast<xcb_keycode_t>(key), true);
    const int modifiers = m_server->modifiers();
    QVERIFY(modifiers != 0);
    const QString text = u"aZ1! äÖ жЖ"_s;
    QCOMPARE(typed(text), u"Typed text."_s);
    QCOMPARE(m_server->keysDown(), keys);
    QCOMPARE(m_server->modifiers(), modifiers);
    for (const int key : keys)
        m_server->finger(keyboard, static_cast<xcb_keycode_t>(key), false);
    QCOMPARE(m_server->keysDown(), QList<int>());
    QTRY_COMPARE(QString::fromUtf8(receiver->received()), text);
}

void tst_LinuxKeyboard::aModifierThatIsLetGoMeanwhileStaysUp()
{
    const auto receiver = terminal(*m_desktop, u"let-go"_s);
    m_server->finger(hardware, leftShift, true);
    QTimer::singleShot(200, this, [this] { m_server->finger(hardware, leftShift, false); });
    const QString text = u"no capitals here "_s.repeated(40);
    QCOMPARE(typed(text), u"Typed text."_s);
    QCOMPARE(m_server->keysDown(), QList<int>());
    QTRY_COMPARE(QString::fromUtf8(receiver->received()), text);
}

void tst_LinuxKeyboard::keysDoWhatTheyDo_data()
{
    QTest::addColumn<QString>("key");
    QTest::addColumn<QString>("modifiers");
    QTest::addColumn<QByteArray>("received");
    for (const char *character :
         {"a", "s", "d", "f", "h", "g", "z", "x", "c",  "v", "b", "q", "w", "e", "r", "y",
          "t", "1", "2", "3", "4", "6", "5", "=", "9",  "7", "-", "8", "0", "]", "o", "u",
          "[", "i", "p", "l", "j", "'", "k", ";", "\\", ",", "/", "n", "m", "."}) {
        QTest::newRow(character) << QString::fromLatin1(character) << u""_s
                                 << QByteArray(character);
    }
    QTest::newRow("return") << u"return"_s << u""_s << "\n"_ba;
    QTest::newRow("enter") << u"ENTER"_s << u""_s << "\n"_ba;
    QTest::newRow("tab") << u"tab"_s << u""_s << "\t"_ba;
    QTest::newRow("space") << u"space"_s << u""_s << " "_ba;
    QTest::newRow("delete") << u"delete"_s << u""_s << "\x7f"_ba;
    QTest::newRow("backspace") << u"backspace"_s << u""_s << "\x7f"_ba;
    QTest::newRow("escape") << u"escape"_s << u""_s << "\x1b"_ba;
    QTest::newRow("esc") << u"esc"_s << u""_s << "\x1b"_ba;
    QTest::newRow("up") << u"up"_s << u""_s << "\x1b[A"_ba;
    QTest::newRow("down") << u"down"_s << u""_s << "\x1b[B"_ba;
    QTest::newRow("right") << u"right"_s << u""_s << "\x1b[C"_ba;
    QTest::newRow("left") << u"left"_s << u""_s << "\x1b[D"_ba;
    QTest::newRow("shift") << u"a"_s << u"shift"_s << "A"_ba;
    QTest::newRow("command is control") << u"l"_s << u"command"_s << "\x0c"_ba;
    QTest::newRow("control") << u"l"_s << u"control"_s << "\x0c"_ba;
    QTest::newRow("option is alt") << u"x"_s << u"option"_s << "\x1bx"_ba;
    QTest::newRow("all of them") << u"left"_s << u"cmd+alt+shift"_s << "\x1b[1;8D"_ba;
}

void tst_LinuxKeyboard::keysDoWhatTheyDo()
{
    QFETCH(QString, key);
    QFETCH(QString, modifiers);
    QFETCH(QByteArray, received);
    if (!m_terminal)
        m_terminal = terminal(*m_desktop, u"keys"_s);
    const QByteArray before = m_terminal->received();
    QCOMPARE(pressed(key, modifiers), u"Pressed "_s + key + u'.');
    QTRY_COMPARE(m_terminal->received(), before + received);
}

void tst_LinuxKeyboard::shortcutsWorkInForeignLayouts_data()
{
    QTest::addColumn<QString>("layout");
    QTest::newRow("us") << u"us"_s;
    QTest::newRow("Russian") << u"ru"_s;
    QTest::newRow("French") << u"fr"_s;
    QTest::newRow("Greek") << u"gr"_s;
}

void tst_LinuxKeyboard::shortcutsWorkInForeignLayouts()
{
    QFETCH(QString, layout);
    m_terminal.reset();
    setLayout({layout});
    const QByteArray map = keyboardMap();
    const auto receiver = editor(*m_desktop, u"mousepad"_s);
    QCOMPARE(typed(u"this is going to be replaced"_s), u"Typed text."_s);
    QCOMPARE(pressed(u"a"_s, u"command"_s), u"Pressed a."_s);
    QCOMPARE(typed(u"kept"_s), u"Typed text."_s);
    QCOMPARE(pressed(u"s"_s, u"command"_s), u"Pressed s."_s);
    QTRY_COMPARE_WITH_TIMEOUT(receiver->received().trimmed(), "kept"_ba, 20'000);
    QCOMPARE(keyboardMap(), map);
}

void tst_LinuxKeyboard::aModifierThatTheLayoutLacksIsTold_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("modifier");
    QTest::newRow("Alt") << u"mod1"_s << u"option"_s;
    QTest::newRow("Control") << u"control"_s << u"command"_s;
}

void tst_LinuxKeyboard::aModifierThatTheLayoutLacksIsTold()
{
    QFETCH(QString, name);
    QFETCH(QString, modifier);
    const auto receiver = terminal(*m_desktop, u"lacking"_s);
    (void)output(u"xmodmap"_s, {u"-e"_s, u"clear "_s + name});
    QCOMPARE(pressed(u"x"_s, modifier),
             u"PlatformError: The keyboard layout lacks one of the modifier keys."_s);
    QCOMPARE(pressed(u"y"_s), u"Pressed y."_s);
    QTRY_COMPARE(receiver->received(), "y"_ba);
}

void tst_LinuxKeyboard::theApplicationBehindOurWindowGetsTheText()
{
    const auto receiver = terminal(*m_desktop, u"behind"_s);
    const xcb_window_t window = m_server->showWindow();
    const ProcessId ourselves{QCoreApplication::applicationPid()};
    QTRY_COMPARE(Platform::current().workspace().focusedProcess(), ourselves);
    QCOMPARE(typed(u"for the terminal"_s), u"Typed text."_s);
    QTRY_COMPARE(receiver->received(), "for the terminal"_ba);
    QVERIFY(Platform::current().workspace().focusedProcess() != ourselves);
    m_server->closeWindow(window);
}

void tst_LinuxKeyboard::typingStopsWhenAnotherWindowComesForward()
{
    const auto other = terminal(*m_desktop, u"other"_s);
    const auto receiver = terminal(*m_desktop, u"stolen"_s);
    QTimer::singleShot(200, this, [&] {
        Platform::current().workspace().activate(ProcessId{other->process().processId()});
    });
    const QByteArray text = QByteArray("0123456789").repeated(100);
    // Whoever notices it first says so.
    QCOMPARE(typed(QString::fromLatin1(text)).section(u": "_s, 1),
             u"Typing stopped because the application is no longer in front."_s);
    QTRY_VERIFY(!receiver->received().isEmpty());
    QVERIFY(receiver->received().size() < text.size());
    QVERIFY(text.startsWith(receiver->received()));
    QCOMPARE(other->received(), QByteArray());
}

void tst_LinuxKeyboard::anApplicationThatHangsGetsNothing()
{
    const auto receiver = editor(*m_desktop, u"mousepad"_s);
    const auto pid = static_cast<pid_t>(receiver->process().processId());
    QCOMPARE(kill(pid, SIGSTOP), 0);
    QCOMPARE(typed(u"Жук"_s), u"PlatformError: The application in front does not answer."_s);
    QTRY_COMPARE(keyboardMap(), m_map);
    QCOMPARE(kill(pid, SIGCONT), 0);
    QCOMPARE(typed(u"Ёж"_s), u"Typed text."_s);
    QCOMPARE(pressed(u"s"_s, u"command"_s), u"Pressed s."_s);
    QTRY_COMPARE_WITH_TIMEOUT(receiver->received().trimmed(), "Ёж"_ba, 20'000);
}

void tst_LinuxKeyboard::aProgramThatDiesLeavesNoTrace_data()
{
    QTest::addColumn<QString>("what");
    QTest::newRow("borrowed keys") << u"text"_s;
    QTest::newRow("pressed keys") << u"keys"_s;
}

void tst_LinuxKeyboard::aProgramThatDiesLeavesNoTrace()
{
    QFETCH(QString, what);
    const auto receiver = terminal(*m_desktop, u"dying"_s);
    m_server->finger(hardware, capsLock, true);
    m_server->finger(hardware, capsLock, false);
    QProcess program;
    program.start(QCoreApplication::applicationFilePath(), {u"--type"_s, what});
    while (!program.canReadLine())
        QVERIFY(program.waitForReadyRead());
    if (what == u"text")
        QVERIFY(keyboardMap() != m_map);
    else
        QTRY_COMPARE(m_server->keysDown().size(), 3);
    QCOMPARE(m_server->modifiers() & XCB_MOD_MASK_LOCK, 0);
    QCOMPARE(kill(static_cast<pid_t>(program.processId()), SIGKILL), 0);
    program.waitForFinished();
    QTRY_COMPARE(m_server->keysDown(), QList<int>());
    QTRY_COMPARE(keyboardMap(), m_map);
    QTRY_COMPARE(m_server->modifiers(), int{XCB_MOD_MASK_LOCK});
    m_server->finger(hardware, capsLock, true);
    m_server->finger(hardware, capsLock, false);
}

void tst_LinuxKeyboard::whatAKilledKeyboardProgramLeftIsPutBack_data()
{
    QTest::addColumn<QString>("what");
    QTest::addColumn<bool>("programLives");
    QTest::newRow("borrowed keys, by the program") << u"text"_s << true;
    QTest::newRow("pressed keys, by the program") << u"keys"_s << true;
    QTest::newRow("borrowed keys, by the next start") << u"text"_s << false;
    QTest::newRow("pressed keys, by the next start") << u"keys"_s << false;
}

void tst_LinuxKeyboard::whatAKilledKeyboardProgramLeftIsPutBack()
{
    QFETCH(const QString, what);
    QFETCH(const bool, programLives);
    const auto receiver = terminal(*m_desktop, u"left"_s);
    m_server->finger(hardware, capsLock, true);
    m_server->finger(hardware, capsLock, false);
    QProcess program;
    program.start(QCoreApplication::applicationFilePath(), {u"--type"_s, what});
    while (!program.canReadLine())
        QVERIFY(program.waitForReadyRead());
    if (what == u"text")
        QVERIFY(keyboardMap() != m_map);
    else
        QTRY_COMPARE(m_server->keysDown().size(), 3);

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
    m_server->finger(hardware, capsLock, true);
    m_server->finger(hardware, capsLock, false);
    if (programLives) {
        program.kill();
        QVERIFY(program.waitForFinished());
    }
    receiver->forget();
    QCOMPARE(typed(u"Жук"_s), u"Typed text."_s);
    QTRY_COMPARE(receiver->received(), "Жук"_ba);
}

void tst_LinuxKeyboard::aForgedRecordDoesNoHarm_data()
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

void tst_LinuxKeyboard::aForgedRecordDoesNoHarm()
{
    QFETCH(const QByteArray, record);
    const auto receiver = terminal(*m_desktop, u"forged"_s);
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

void tst_LinuxKeyboard::aServerThatHangsIsTold()
{
    const auto receiver = terminal(*m_desktop, u"hanging"_s);
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

void tst_LinuxKeyboard::aServerThatDiesIsTold()
{
    const auto receiver = terminal(*m_desktop, u"dead"_s);
    m_server.reset();
    QTimer::singleShot(200, this, [this] { m_desktop->endServer(); });
    const QString result = typed(u"0123456789"_s.repeated(500));
    QVERIFY2(result == u"PlatformError: The X server went away."_s ||
                 result == u"ActionError: Typing stopped because the application is no longer in "
                           "front."_s,
             qPrintable(result));
    QCOMPARE(pressed(u"a"_s), u"PlatformError: The X server does not answer."_s);
    // The keyboard program was left to itself, and ends with its server.
    QTRY_COMPARE(childrenCalled("quillon-keyboard"), 0);
}

int main(int count, char **arguments)
{
    QCoreApplication application(count, arguments);
    if (application.arguments().value(1) == u"--type") {
        const KeyEvent event = application.arguments().value(2) == u"text"
                                   ? KeyEvent{.isDown = true, .text = u"Жук"_s}
                                   : KeyEvent{.code = 0, .flags = 0x120000, .isDown = true};
        const QCoro::Task<void> task = typeAndWait(event);
        return application.exec();
    }
    tst_LinuxKeyboard test;
    return QTest::qExec(&test, count, arguments);
}

#include "tst_LinuxKeyboard.moc"
