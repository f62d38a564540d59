#include "tests/platform/linux/KeyboardFixture.h"

#include <QFile>

#include <xcb/xinput.h>
#include <xcb/xtest.h>
// One of its fields has the name of a C++ keyword.
#define explicit isExplicit
#include <xcb/xkb.h>
#undef explicit

#include <utility>

using namespace Qt::StringLiterals;

namespace {
QByteArray content(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}
} // namespace

QString typed(const QString &text)
{
    return outcome(u"type_text"_s, {{u"text"_s, text}});
}

QString pressed(const QString &key, const QString &modifiers)
{
    return outcome(u"press_key"_s, {{u"key"_s, key}, {u"modifiers"_s, modifiers}});
}

void setLayout(const QStringList &arguments)
{
    output(u"setxkbmap"_s, QStringList{u"-option"_s, u""_s} + arguments);
}

KeyboardServer::KeyboardServer() : m_connection(xcb_connect(nullptr, nullptr), &xcb_disconnect)
{
    const auto *const input = xcb_get_extension_data(connection(), &xcb_input_id);
    m_firstEvent = input->first_event;
    std::free(xcb_xkb_use_extension_reply(connection(), xcb_xkb_use_extension(connection(), 1, 0),
                                          nullptr));
    std::free(xcb_input_xi_query_version_reply(
        connection(), xcb_input_xi_query_version(connection(), 2, 2), nullptr));
}

QList<int> KeyboardServer::keysDown() const
{
    const std::unique_ptr<xcb_query_keymap_reply_t, decltype(&std::free)> reply(
        xcb_query_keymap_reply(connection(), xcb_query_keymap(connection()), nullptr), &std::free);
    QList<int> down;
    for (int code = 0; reply && code < 256; ++code) {
        if (reply->keys[code / 8] >> (code % 8) & 1)
            down.append(code);
    }
    return down;
}

int KeyboardServer::modifiers() const
{
    const std::unique_ptr<xcb_query_pointer_reply_t, decltype(&std::free)> reply(
        xcb_query_pointer_reply(connection(), xcb_query_pointer(connection(), screen()->root),
                                nullptr),
        &std::free);
    return reply->mask & 0xff;
}

int KeyboardServer::device(const QByteArray &keyboard) const
{
    const std::unique_ptr<xcb_input_xi_query_device_reply_t, decltype(&std::free)> all(
        xcb_input_xi_query_device_reply(connection(), xcb_input_xi_query_device(connection(), 0),
                                        nullptr),
        &std::free);
    auto each = xcb_input_xi_query_device_infos_iterator(all.get());
    for (; each.rem > 0; xcb_input_xi_device_info_next(&each)) {
        if (QByteArray(xcb_input_xi_device_info_name(each.data), each.data->name_len) == keyboard)
            return each.data->deviceid;
    }
    qFatal("There is no keyboard %s.", keyboard.constData());
}

void KeyboardServer::press(const QByteArray &keyboard, xcb_keycode_t code, bool isDown) const
{
    const int type =
        m_firstEvent + (isDown ? XCB_INPUT_DEVICE_KEY_PRESS : XCB_INPUT_DEVICE_KEY_RELEASE);
    xcb_test_fake_input(connection(), static_cast<uint8_t>(type), code, 0, 0, 0, 0,
                        static_cast<uint8_t>(device(keyboard)));
    sync();
}

void KeyboardServer::strike(const QByteArray &keyboard, xcb_keycode_t code) const
{
    press(keyboard, code, true);
    press(keyboard, code, false);
}

int KeyboardServer::group() const
{
    const std::unique_ptr<xcb_xkb_get_state_reply_t, decltype(&std::free)> reply(
        xcb_xkb_get_state_reply(connection(),
                                xcb_xkb_get_state(connection(), XCB_XKB_ID_USE_CORE_KBD), nullptr),
        &std::free);
    return reply->group;
}

void KeyboardServer::lockGroup(int group) const
{
    xcb_xkb_latch_lock_state(connection(), XCB_XKB_ID_USE_CORE_KBD, 0, 0, 1,
                             static_cast<uint8_t>(group), 0, 0, 0);
    sync();
}

xcb_window_t KeyboardServer::showWindow() const
{
    const xcb_window_t window = xcb_generate_id(connection());
    xcb_create_window(connection(), XCB_COPY_FROM_PARENT, window, screen()->root, 600, 400, 200,
                      100, 0, XCB_WINDOW_CLASS_INPUT_OUTPUT, screen()->root_visual, 0, nullptr);
    xcb_map_window(connection(), window);
    sync();
    return window;
}

void KeyboardServer::closeWindow(xcb_window_t window) const
{
    xcb_destroy_window(connection(), window);
    sync();
}

void KeyboardServer::sync() const
{
    std::free(xcb_get_input_focus_reply(connection(), xcb_get_input_focus(connection()), nullptr));
}

const xcb_screen_t *KeyboardServer::screen() const
{
    return xcb_setup_roots_iterator(xcb_get_setup(connection())).data;
}

Receiver::Receiver(VirtualDesktop &desktop, const QString &program, const QStringList &arguments,
                   QString file)
    : m_process(desktop.start(program, arguments)), m_file(std::move(file))
{
    const ProcessId pid{m_process.processId()};
    if (!QTest::qWaitFor([&] { return Platform::current().workspace().focusedProcess() == pid; },
                         eventually))
        qFatal("%s did not come to the front.", qPrintable(program));
}

Receiver::~Receiver()
{
    m_process.kill();
    m_process.waitForFinished();
}

QByteArray Receiver::received() const
{
    return content(m_file).mid(m_forgotten);
}

void Receiver::forget()
{
    m_forgotten = content(m_file).size();
}

void KeyboardFixture::initTestCase()
{
    qputenv("LC_ALL", "C.UTF-8");
    qputenv("GSK_RENDERER", "cairo");
    qputenv("GDK_BACKEND", "x11");
    qputenv("QT_QPA_PLATFORM", "xcb");
    m_desktop = std::make_unique<VirtualDesktop>();
    m_desktop->enableAccessibility();
    // Without its help for typing.
    m_desktop->write(u".config/featherpad/fp.conf"_s,
                     "[text]\nautoIndentation=false\nappendEmptyLine=false\n");
    m_server = std::make_unique<KeyboardServer>();
    m_map = keyboardMap();
}

void KeyboardFixture::cleanup()
{
    if (!m_server)
        return;
    QCOMPARE(m_server->keysDown(), QList<int>());
    QCOMPARE(m_server->modifiers(), 0);
    setLayout({u"us"_s});
    QCOMPARE(keyboardMap(), m_map);
}

std::unique_ptr<Receiver> KeyboardFixture::terminal(const QString &name)
{
    const QString file = m_desktop->home(name);
    QFile::remove(file);
    QFile::remove(file + u".begun"_s);
    auto receiver = std::make_unique<Receiver>(
        *m_desktop, u"xterm"_s,
        QStringList{u"-u8"_s, u"-xrm"_s, u"*altSendsEscape: true"_s, u"-xrm"_s,
                    u"*metaSendsEscape: true"_s, u"-e"_s, u"sh"_s, u"-c"_s,
                    u"stty -icanon -echo -isig min 1; : > '%1.begun'; exec cat > '%1'"_s.arg(file)},
        file);
    if (!QTest::qWaitFor([&] { return QFile::exists(file + u".begun"_s); }, eventually))
        qFatal("The terminal did not start.");
    // It drops keys until it has processed the focus change.
    while (receiver->received().isEmpty()) {
        (void)pressed(u"x"_s);
        (void)QTest::qWaitFor([&] { return !receiver->received().isEmpty(); }, 500);
    }
    (void)pressed(u"."_s);
    if (!QTest::qWaitFor([&] { return receiver->received().endsWith('.'); }, eventually))
        qFatal("The terminal lost a key.");
    receiver->forget();
    return receiver;
}

std::unique_ptr<Receiver> KeyboardFixture::editor(const QString &program,
                                                  const QStringList &options)
{
    const QString name = program + u".txt"_s;
    m_desktop->write(name, "");
    auto receiver = std::make_unique<Receiver>(
        *m_desktop, program, options + QStringList{m_desktop->home(name)}, m_desktop->home(name));
    // Editors open their files only after their windows.
    while (receiver->received().isEmpty()) {
        (void)typed(u"x"_s);
        (void)pressed(u"s"_s, u"command"_s);
        (void)QTest::qWaitFor([&] { return !receiver->received().isEmpty(); }, 1'000);
    }
    (void)pressed(u"a"_s, u"command"_s);
    return receiver;
}
