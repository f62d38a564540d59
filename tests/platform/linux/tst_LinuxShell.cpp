// What the shell asks of the X server, seen by a window manager's and a compositor's eyes.

#include "platform/NativeWindow.h"
#include "platform/linux/x11/LinuxHotKey.h"
#include "platform/linux/x11/LinuxShell.h"
#include "tests/support/VirtualDesktop.h"

#include <QTest>

#include <csignal>
#include <cstdlib>
#include <memory>
#include <vector>

#include <xcb/xcb.h>

using namespace Qt::StringLiterals;

namespace {
struct Freed
{
    void operator()(void *memory) const { std::free(memory); }
};

xcb_atom_t atom(xcb_connection_t *connection, const QByteArray &name)
{
    const std::unique_ptr<xcb_intern_atom_reply_t, Freed> reply(xcb_intern_atom_reply(
        connection,
        xcb_intern_atom(connection, 0, static_cast<uint16_t>(name.size()), name.constData()),
        nullptr));
    return reply->atom;
}

/// A bare window of the X server's.
class BareWindow final : public NativeWindow
{
public:
    BareWindow() : m_connection(xcb_connect(nullptr, nullptr)), m_id(xcb_generate_id(m_connection))
    {
        const xcb_screen_t *const screen =
            xcb_setup_roots_iterator(xcb_get_setup(m_connection)).data;
        xcb_create_window(m_connection, XCB_COPY_FROM_PARENT, m_id, screen->root, 0, 0,
                          static_cast<uint16_t>(m_size.width()),
                          static_cast<uint16_t>(m_size.height()), 0, XCB_WINDOW_CLASS_INPUT_OUTPUT,
                          screen->root_visual, 0, nullptr);
        xcb_flush(m_connection);
    }
    ~BareWindow() override { xcb_disconnect(m_connection); }
    BareWindow(const BareWindow &) = delete;
    BareWindow &operator=(const BareWindow &) = delete;

    [[nodiscard]] quintptr handle() const override { return m_id; }
    [[nodiscard]] bool isShown() const override { return m_isShown; }
    [[nodiscard]] bool hasFocus() const override { return false; }
    [[nodiscard]] bool canBecomeMain() const override { return true; }
    void show() override
    {
        m_isShown = true;
        xcb_map_window(m_connection, m_id);
        xcb_flush(m_connection);
    }
    void hide() override
    {
        m_isShown = false;
        xcb_unmap_window(m_connection, m_id);
        xcb_flush(m_connection);
    }
    void minimise() override {}
    void close() override {}
    [[nodiscard]] QSize size() const override { return m_size; }
    [[nodiscard]] QRect screenArea() const override { return {100, 50, 1000, 700}; }
    [[nodiscard]] double scale() const override { return 1; }
    void moveTo(QPoint to) override { corner = to; }

    void resize(QSize size)
    {
        m_size = size;
        const uint32_t values[] = {static_cast<uint32_t>(size.width()),
                                   static_cast<uint32_t>(size.height())};
        xcb_configure_window(m_connection, m_id, XCB_CONFIG_WINDOW_WIDTH | XCB_CONFIG_WINDOW_HEIGHT,
                             values);
        xcb_flush(m_connection);
    }

    [[nodiscard]] std::vector<uint32_t> numbers(const QByteArray &property) const
    {
        const std::unique_ptr<xcb_get_property_reply_t, Freed> reply(xcb_get_property_reply(
            m_connection,
            xcb_get_property(m_connection, 0, m_id, atom(m_connection, property), XCB_ATOM_CARDINAL,
                             0, 1024),
            nullptr));
        const auto *const first =
            static_cast<const uint32_t *>(xcb_get_property_value(reply.get()));
        return {first, first + xcb_get_property_value_length(reply.get()) / 4};
    }

    QPoint corner;

private:
    xcb_connection_t *m_connection;
    xcb_window_t m_id;
    QSize m_size{300, 200};
    bool m_isShown = false;
};

/// Whoever owns the selection is the compositor.
class Compositor
{
public:
    Compositor() : m_connection(xcb_connect(nullptr, nullptr))
    {
        const xcb_screen_t *const screen =
            xcb_setup_roots_iterator(xcb_get_setup(m_connection)).data;
        const xcb_window_t window = xcb_generate_id(m_connection);
        xcb_create_window(m_connection, XCB_COPY_FROM_PARENT, window, screen->root, 0, 0, 1, 1, 0,
                          XCB_WINDOW_CLASS_INPUT_ONLY, screen->root_visual, 0, nullptr);
        xcb_set_selection_owner(m_connection, window, atom(m_connection, "_NET_WM_CM_S0"),
                                XCB_CURRENT_TIME);
        xcb_flush(m_connection);
    }
    ~Compositor() { xcb_disconnect(m_connection); }
    Compositor(const Compositor &) = delete;
    Compositor &operator=(const Compositor &) = delete;

private:
    xcb_connection_t *m_connection;
};

// Whether the region, a row of rectangles, holds the place.
bool holds(const std::vector<uint32_t> &region, QPoint place)
{
    for (size_t i = 0; i + 3 < region.size(); i += 4) {
        const QRect part(static_cast<int>(region[i]), static_cast<int>(region[i + 1]),
                         static_cast<int>(region[i + 2]), static_cast<int>(region[i + 3]));
        if (part.contains(place))
            return true;
    }
    return false;
}
} // namespace

class tst_LinuxShell : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { m_desktop = std::make_unique<VirtualDesktop>(); }

    void compositorsAreSeenToComeAndGo();
    void aCompositorThatWasThereFirstIsSeen();
    void whatIsBehindThePanelIsBlurredButNotBehindItsCorners();
    void theMiddleIsThatOfTheFreeScreen();
    void aDisplayIsWhereTheServerAnswers();
    void aServerThatDoesNotAnswerIsNotWaitedForForever();
    void anotherWayToShowWindowsIsTheUsersChoice();

private:
    std::unique_ptr<VirtualDesktop> m_desktop;
    LinuxHotKey m_hotKey;
};

void tst_LinuxShell::compositorsAreSeenToComeAndGo()
{
    LinuxShell shell(m_hotKey);
    int changes = 0;
    shell.observeComposition([&] { ++changes; });
    QVERIFY(!shell.isComposited());
    auto compositor = std::make_unique<Compositor>();
    QTRY_VERIFY(shell.isComposited());
    QCOMPARE(changes, 1);
    compositor.reset();
    QTRY_VERIFY(!shell.isComposited());
    QCOMPARE(changes, 2);
}

void tst_LinuxShell::aCompositorThatWasThereFirstIsSeen()
{
    const Compositor compositor;
    const auto isComposited = [this] { return LinuxShell(m_hotKey).isComposited(); };
    QTRY_VERIFY(isComposited());
}

void tst_LinuxShell::whatIsBehindThePanelIsBlurredButNotBehindItsCorners()
{
    LinuxShell shell(m_hotKey);
    BareWindow window;
    shell.placeMaterialBehind(window, Shell::Material::underWindowBackground);
    const QByteArray property = "_KDE_NET_WM_BLUR_BEHIND_REGION";
    const auto region = [&] { return window.numbers(property); };
    for (const QSize size : {QSize(300, 200), QSize(500, 420)}) {
        window.resize(size);
        const QPoint last(size.width() - 1, size.height() - 1);
        QTRY_VERIFY(holds(region(), QPoint(last.x(), last.y() / 2)));
        QTRY_VERIFY(holds(region(), QPoint(last.x() / 2, last.y())));
        QVERIFY(holds(region(), {last.x() / 2, 0}));
        QVERIFY(holds(region(), {0, last.y() / 2}));
        QVERIFY(!holds(region(), {last.x() + 1, last.y() / 2}));
        QVERIFY(!holds(region(), {last.x() / 2, last.y() + 1}));
        for (const QPoint corner : {QPoint(), QPoint(last.x(), 0), QPoint(0, last.y()), last})
            QVERIFY(!holds(region(), corner));
        // A point of the corner's circle: 14 from its centre is out, less is in.
        QVERIFY(holds(region(), {5, 5}));
        QVERIFY(!holds(region(), {3, 3}));
    }
}

void tst_LinuxShell::theMiddleIsThatOfTheFreeScreen()
{
    LinuxShell shell(m_hotKey);
    BareWindow window;
    shell.center(window);
    QCOMPARE(window.corner, QPoint(450, 300));
}

void tst_LinuxShell::aDisplayIsWhereTheServerAnswers()
{
    QVERIFY(LinuxShell(m_hotKey).hasDisplay());
    const QByteArray display = qgetenv("DISPLAY");
    for (const QByteArray &other : {QByteArray(), QByteArray(":987"), QByteArray("nonsense")}) {
        qputenv("DISPLAY", other);
        QVERIFY(!LinuxShell(m_hotKey).hasDisplay());
    }
    qputenv("DISPLAY", display);
}

void tst_LinuxShell::aServerThatDoesNotAnswerIsNotWaitedForForever()
{
    kill(static_cast<pid_t>(m_desktop->server()), SIGSTOP);
    const bool hasDisplay = LinuxShell(m_hotKey).hasDisplay();
    kill(static_cast<pid_t>(m_desktop->server()), SIGCONT);
    QVERIFY(!hasDisplay);
}

void tst_LinuxShell::anotherWayToShowWindowsIsTheUsersChoice()
{
    QCOMPARE(LinuxShell(m_hotKey).toolkitArguments(), (QByteArrayList{"-platform", "xcb"}));
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QCOMPARE(LinuxShell(m_hotKey).toolkitArguments(), QByteArrayList());
    const QByteArray display = qgetenv("DISPLAY");
    qunsetenv("DISPLAY");
    QVERIFY(LinuxShell(m_hotKey).hasDisplay());
    qputenv("DISPLAY", display);
    qunsetenv("QT_QPA_PLATFORM");
}

QTEST_GUILESS_MAIN(tst_LinuxShell)
#include "tst_LinuxShell.moc"
