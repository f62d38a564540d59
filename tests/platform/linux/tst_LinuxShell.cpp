// The shell's requests to the X server, observed like a window manager and a compositor.

#include "platform/NativeWindow.h"
#include "platform/Shell.h"
#include "platform/linux/Capabilities.h"
#include "platform/linux/x11/LinuxHotKey.h"
#include "tests/support/VirtualDesktop.h"
#include "tests/support/Waiting.h"

#include <QTest>

#include <array>
#include <csignal>
#include <cstdlib>
#include <memory>
#include <vector>

#include <xcb/shape.h>
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

/// A plain X window.
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
    // Its connection stays open. Otherwise the next window would get the same number, and the
    // window manager would resize or unmap it when it is notified that this one was destroyed.
    ~BareWindow() override
    {
        xcb_destroy_window(m_connection, m_id);
        xcb_flush(m_connection);
        static std::vector<std::unique_ptr<xcb_connection_t, decltype(&xcb_disconnect)>> kept;
        kept.emplace_back(m_connection, &xcb_disconnect);
    }
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
    [[nodiscard]] QSize minimumSize() const override { return {200, 150}; }
    [[nodiscard]] QRect screen() const override { return whole; }
    [[nodiscard]] QRect screenArea() const override { return area; }
    [[nodiscard]] double scale() const override { return 1; }
    void moveTo(QPoint to) override { corner = to; }

    void resize(QSize size) override
    {
        m_size = size;
        const std::array<uint32_t, 2> values{static_cast<uint32_t>(size.width()),
                                             static_cast<uint32_t>(size.height())};
        xcb_configure_window(m_connection, m_id, XCB_CONFIG_WINDOW_WIDTH | XCB_CONFIG_WINDOW_HEIGHT,
                             values.data());
        xcb_flush(m_connection);
    }

    [[nodiscard]] std::vector<uint32_t> numbers(const QByteArray &property) const
    {
        const std::unique_ptr<xcb_get_property_reply_t, Freed> reply(xcb_get_property_reply(
            m_connection,
            xcb_get_property(m_connection, 0, m_id, atom(m_connection, property), XCB_ATOM_CARDINAL,
                             0, 65536),
            nullptr));
        const auto *const first =
            static_cast<const uint32_t *>(xcb_get_property_value(reply.get()));
        return {first, first + xcb_get_property_value_length(reply.get()) / 4};
    }

    /// Keeps the window manager from managing the window.
    void placeItself() const
    {
        const uint32_t isUnmanaged = 1;
        xcb_change_window_attributes(m_connection, m_id, XCB_CW_OVERRIDE_REDIRECT, &isUnmanaged);
        xcb_flush(m_connection);
    }

    void setType(const QByteArray &name) const
    {
        const xcb_atom_t type = atom(m_connection, name);
        xcb_change_property(m_connection, XCB_PROP_MODE_REPLACE, m_id,
                            atom(m_connection, "_NET_WM_WINDOW_TYPE"), XCB_ATOM_ATOM, 32, 1, &type);
        xcb_flush(m_connection);
    }

    void set(const QByteArray &property, const QList<uint32_t> &numbers) const
    {
        xcb_change_property(m_connection, XCB_PROP_MODE_REPLACE, m_id, atom(m_connection, property),
                            XCB_ATOM_CARDINAL, 32, static_cast<uint32_t>(numbers.size()),
                            numbers.constData());
        xcb_flush(m_connection);
    }

    /// The rectangle in which the window receives the mouse.
    [[nodiscard]] QRect clickableArea() const
    {
        const std::unique_ptr<xcb_shape_get_rectangles_reply_t, Freed> reply(
            xcb_shape_get_rectangles_reply(
                m_connection, xcb_shape_get_rectangles(m_connection, m_id, XCB_SHAPE_SK_INPUT),
                nullptr));
        const auto found = *xcb_shape_get_rectangles_rectangles(reply.get());
        return {found.x, found.y, found.width, found.height};
    }

    /// The names of the atoms in the property.
    [[nodiscard]] QByteArrayList names(const QByteArray &property) const
    {
        const std::unique_ptr<xcb_get_property_reply_t, Freed> reply(xcb_get_property_reply(
            m_connection,
            xcb_get_property(m_connection, 0, m_id, atom(m_connection, property), XCB_ATOM_ATOM, 0,
                             64),
            nullptr));
        const auto *const atoms =
            static_cast<const xcb_atom_t *>(xcb_get_property_value(reply.get()));
        QByteArrayList found;
        for (int i = 0; i < xcb_get_property_value_length(reply.get()) / 4; ++i) {
            const std::unique_ptr<xcb_get_atom_name_reply_t, Freed> name(xcb_get_atom_name_reply(
                m_connection, xcb_get_atom_name(m_connection, atoms[i]), nullptr));
            found << QByteArray(xcb_get_atom_name_name(name.get()),
                                xcb_get_atom_name_name_length(name.get()));
        }
        return found;
    }

    [[nodiscard]] int margin() const override { return ownMargin; }
    void setMargin(int margin) override { ownMargin = margin; }

    QPoint corner;
    QRect whole{0, 0, 1280, 800};
    QRect area{100, 50, 1000, 700};
    int ownMargin = 0;

private:
    xcb_connection_t *m_connection;
    xcb_window_t m_id;
    QSize m_size{300, 200};
    bool m_isShown = false;
};

/// A fake compositor, which owns the selection.
class FakeCompositor
{
public:
    FakeCompositor() : m_connection(xcb_connect(nullptr, nullptr))
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
    ~FakeCompositor() { xcb_disconnect(m_connection); }
    FakeCompositor(const FakeCompositor &) = delete;
    FakeCompositor &operator=(const FakeCompositor &) = delete;

private:
    xcb_connection_t *m_connection;
};

// Whether the region, a list of rectangles, contains the point.
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
    void blurringIsWhatACompositorAnnounces();
    void theMiddleIsThatOfTheFreeScreen();
    void whatIsLargerThanTheScreenIsMadeToFit();
    void whatCannotFitShowsItsTop();
    void barsThatTheToolkitDoesNotKnowAreLeftFree();
    void aMarginIsToldToTheWindowManager();
    void shadowsAreDrawnIfTheWindowManagerKnowsMargins();
    void aWindowHasTheIconInSeveralSizes();
    void aWindowIsKeptAboveAlsoOnceItIsShown();
    void attentionIsDemandedOfTheTaskBar();
    void toWindowManagersThatTileAWindowIsADialog();
    void oddResolutionsOfFontsAreRounded_data();
    void oddResolutionsOfFontsAreRounded();
    void aDisplayIsWhereTheServerAnswers();
    void aServerThatDoesNotAnswerIsNotWaitedForForever();
    void anotherWayToShowWindowsIsTheUsersChoice();

private:
    std::unique_ptr<VirtualDesktop> m_desktop;
    LinuxHotKey m_hotKey;
};

void tst_LinuxShell::compositorsAreSeenToComeAndGo()
{
    const auto shell = makeLinuxShell(m_hotKey);
    int changes = 0;
    shell->compositor()->observe([&] { ++changes; });
    QVERIFY(!shell->compositor()->isComposited());
    auto compositor = std::make_unique<FakeCompositor>();
    QTRY_VERIFY(shell->compositor()->isComposited());
    QCOMPARE(changes, 1);
    compositor.reset();
    QTRY_VERIFY(!shell->compositor()->isComposited());
    QCOMPARE(changes, 2);
}

void tst_LinuxShell::aCompositorThatWasThereFirstIsSeen()
{
    const FakeCompositor compositor;
    const auto isComposited = [this] {
        return makeLinuxShell(m_hotKey)->compositor()->isComposited();
    };
    QTRY_VERIFY(isComposited());
}

void tst_LinuxShell::whatIsBehindThePanelIsBlurredButNotBehindItsCorners()
{
    const auto shell = makeLinuxShell(m_hotKey);
    BareWindow window;
    shell->placeMaterialBehind(window, Shell::Material::underWindowBackground);
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
        // The corner is a circle: points at a distance of 14 from its centre are outside, nearer
        // ones inside.
        QVERIFY(holds(region(), {5, 5}));
        QVERIFY(!holds(region(), {3, 3}));
    }
}

void tst_LinuxShell::blurringIsWhatACompositorAnnounces()
{
    const auto shell = makeLinuxShell(m_hotKey);
    int changes = 0;
    shell->compositor()->observe([&] { ++changes; });
    const std::unique_ptr<xcb_connection_t, decltype(&xcb_disconnect)> connection(
        xcb_connect(nullptr, nullptr), &xcb_disconnect);
    const xcb_window_t root = xcb_setup_roots_iterator(xcb_get_setup(connection.get())).data->root;
    QVERIFY(!shell->compositor()->isComposited());
    const xcb_atom_t property = atom(connection.get(), "_KDE_NET_WM_BLUR_BEHIND_REGION");
    auto compositor = std::make_unique<FakeCompositor>();
    QTRY_VERIFY(shell->compositor()->isComposited());
    QVERIFY(!shell->compositor()->blursBehind());
    const char value = 0;
    xcb_change_property(connection.get(), XCB_PROP_MODE_REPLACE, root, property, property, 8, 1,
                        &value);
    xcb_flush(connection.get());
    QTRY_VERIFY(shell->compositor()->blursBehind());
    QCOMPARE(changes, 2);
    const auto later = makeLinuxShell(m_hotKey);
    QVERIFY(later->compositor()->blursBehind());
    xcb_delete_property(connection.get(), root, property);
    xcb_flush(connection.get());
    QTRY_VERIFY(!shell->compositor()->blursBehind());
    QVERIFY(shell->compositor()->isComposited());
    QCOMPARE(changes, 3);
}

void tst_LinuxShell::whatIsLargerThanTheScreenIsMadeToFit()
{
    const auto shell = makeLinuxShell(m_hotKey);
    BareWindow window;
    window.area = {10, 30, 250, 160};
    shell->center(window);
    QCOMPARE(window.size(), QSize(250, 160));
    QCOMPARE(window.corner, QPoint(10, 30));
    // The user's size is kept if it fits.
    window.area = {100, 50, 1000, 700};
    shell->center(window);
    QCOMPARE(window.size(), QSize(250, 160));
}

void tst_LinuxShell::whatCannotFitShowsItsTop()
{
    const auto shell = makeLinuxShell(m_hotKey);
    BareWindow window;
    window.area = {10, 30, 100, 100};
    shell->center(window);
    QCOMPARE(window.size(), window.minimumSize());
    QCOMPARE(window.corner, QPoint(10, 30));
}

void tst_LinuxShell::barsThatTheToolkitDoesNotKnowAreLeftFree()
{
    struct Row
    {
        const char *where;
        QList<uint32_t> strut;
        QRect screen;
        QRect free;
    };
    // The display is 1280 by 800 pixels. The window is as large as its screen at first.
    const QRect whole(0, 0, 1280, 800);
    const QRect right(640, 0, 640, 800);
    const QList<Row> rows{
        {"below", {0, 0, 0, 30, 0, 0, 0, 0, 0, 0, 0, 1279}, whole, {0, 0, 1280, 770}},
        {"above", {0, 0, 20, 0, 0, 0, 0, 0, 0, 1279, 0, 0}, whole, {0, 20, 1280, 780}},
        {"left", {50, 0, 0, 0, 0, 799, 0, 0, 0, 0, 0, 0}, whole, {50, 0, 1230, 800}},
        {"right", {0, 60, 0, 0, 0, 0, 0, 799, 0, 0, 0, 0}, whole, {0, 0, 1220, 800}},
        {"here", {0, 0, 0, 30, 0, 0, 0, 0, 0, 0, 640, 1279}, right, {640, 0, 640, 770}},
        {"elsewhere", {0, 0, 0, 30, 0, 0, 0, 0, 0, 0, 0, 639}, right, right},
        {"cut off", {0, 0, 0}, whole, whole},
    };
    const auto shell = makeLinuxShell(m_hotKey);
    BareWindow window;
    const auto leaves = [&](QRect free) {
        window.resize(window.whole.size());
        shell->center(window);
        return QRect(window.corner, window.size()) == free;
    };
    for (const bool isManaged : {true, false}) {
        BareWindow bar;
        // Of this kind, a window does not take the focus.
        bar.setType("_NET_WM_WINDOW_TYPE_DOCK");
        if (!isManaged)
            bar.placeItself();
        bar.show();
        for (const Row &row : rows) {
            bar.set("_NET_WM_STRUT_PARTIAL", row.strut);
            window.whole = window.area = row.screen;
            QVERIFY2(QTest::qWaitFor([&] { return leaves(row.free); }), row.where);
        }
        bar.set("_NET_WM_STRUT_PARTIAL", rows.first().strut);
        window.whole = window.area = whole;
        QVERIFY(QTest::qWaitFor([&] { return leaves(rows.first().free); }));
        bar.hide();
        QVERIFY(QTest::qWaitFor([&] { return leaves(whole); }));
    }
}

void tst_LinuxShell::aMarginIsToldToTheWindowManager()
{
    const auto shell = makeLinuxShell(m_hotKey);
    BareWindow window;
    shell->placeMaterialBehind(window, Shell::Material::underWindowBackground);
    window.setMargin(44);
    shell->compositor()->applyMargin(window);
    // The server reads the test's connection and the shell's in any order.
    QTRY_COMPARE(window.numbers("_GTK_FRAME_EXTENTS"), (std::vector<uint32_t>{44, 44, 44, 44}));
    QTRY_VERIFY(!holds(window.numbers("_KDE_NET_WM_BLUR_BEHIND_REGION"), {256, 100}));
    const std::vector<uint32_t> blur = window.numbers("_KDE_NET_WM_BLUR_BEHIND_REGION");
    QVERIFY(!holds(blur, {43, 100}));
    QVERIFY(holds(blur, {44, 100}));
    QVERIFY(holds(blur, {255, 100}));
    // The mouse passes through it.
    QTRY_COMPARE(window.clickableArea(), QRect(44, 44, 300 - 88, 200 - 88));
    window.setMargin(0);
    shell->compositor()->applyMargin(window);
    QTRY_VERIFY(window.numbers("_GTK_FRAME_EXTENTS").empty());
    QTRY_COMPARE(window.clickableArea(), QRect(0, 0, 300, 200));
}

void tst_LinuxShell::shadowsAreDrawnIfTheWindowManagerKnowsMargins()
{
    const auto shell = makeLinuxShell(m_hotKey);
    int changes = 0;
    shell->compositor()->observe([&] { ++changes; });
    QVERIFY(!shell->compositor()->wantsDrawnShadow());
    auto compositor = std::make_unique<FakeCompositor>();
    QTRY_VERIFY(shell->compositor()->isComposited());
    QVERIFY(!shell->compositor()->wantsDrawnShadow());
    const std::unique_ptr<xcb_connection_t, decltype(&xcb_disconnect)> connection(
        xcb_connect(nullptr, nullptr), &xcb_disconnect);
    const xcb_window_t root = xcb_setup_roots_iterator(xcb_get_setup(connection.get())).data->root;
    const xcb_atom_t margins = atom(connection.get(), "_GTK_FRAME_EXTENTS");
    xcb_change_property(connection.get(), XCB_PROP_MODE_APPEND, root,
                        atom(connection.get(), "_NET_SUPPORTED"), XCB_ATOM_ATOM, 32, 1, &margins);
    xcb_flush(connection.get());
    QTRY_VERIFY(shell->compositor()->wantsDrawnShadow());
    QCOMPARE(changes, 2);
    QVERIFY(makeLinuxShell(m_hotKey)->compositor()->wantsDrawnShadow());
    // Without a compositor, the margin would be black.
    compositor.reset();
    QTRY_VERIFY(!shell->compositor()->isComposited());
    QVERIFY(!shell->compositor()->wantsDrawnShadow());
}

void tst_LinuxShell::aWindowHasTheIconInSeveralSizes()
{
    const auto shell = makeLinuxShell(m_hotKey);
    QList<int> drawn;
    shell->setIcon([&](int side) {
        drawn << side;
        return Shell::Picture{side, QList<quint32>(qsizetype(side) * side, 0x80ff0000)};
    });
    BareWindow window;
    shell->style(window);
    const std::vector<uint32_t> icon = window.numbers("_NET_WM_ICON");
    size_t next = 0;
    for (const int side : {16, 24, 32, 48, 64, 128}) {
        const auto pixels = static_cast<uint32_t>(side);
        QVERIFY(next + 2 + std::size_t{pixels} * pixels <= icon.size());
        QCOMPARE(icon[next], pixels);
        QCOMPARE(icon[next + 1], pixels);
        QCOMPARE(icon[next + 2], 0x80ff0000U);
        next += 2 + pixels * pixels;
    }
    QCOMPARE(icon.size(), next);
    QCOMPARE(drawn, (QList<int>{16, 24, 32, 48, 64, 128}));
}

void tst_LinuxShell::aWindowIsKeptAboveAlsoOnceItIsShown()
{
    const auto shell = makeLinuxShell(m_hotKey);
    BareWindow window;
    const auto isAbove = [&] {
        return window.names("_NET_WM_STATE").contains("_NET_WM_STATE_ABOVE");
    };
    shell->keepAbove(window, true);
    for (int i = 0; i < 2; ++i) {
        shell->makeKeyAndOrderFront(window);
        QTRY_VERIFY(isAbove());
        window.hide();
        QTRY_VERIFY(!isAbove());
    }
    shell->makeKeyAndOrderFront(window);
    QTRY_VERIFY(isAbove());
    shell->keepAbove(window, false);
    QTRY_VERIFY(!isAbove());
}

void tst_LinuxShell::attentionIsDemandedOfTheTaskBar()
{
    const auto shell = makeLinuxShell(m_hotKey);
    BareWindow window;
    BareWindow other;
    const auto demands = [&] {
        return window.names("_NET_WM_STATE").contains("_NET_WM_STATE_DEMANDS_ATTENTION");
    };
    // Of two windows that are shown at once, each would insist on the keyboard.
    shell->makeKeyAndOrderFront(window);
    QTRY_VERIFY(shell->isKey(window));
    shell->makeKeyAndOrderFront(other);
    QTRY_VERIFY(shell->isKey(other));
    shell->requestAttention(window, Urgency::news);
    QTRY_VERIFY(demands());
    shell->makeKeyAndOrderFront(window);
    QTRY_VERIFY(!demands());
}

void tst_LinuxShell::toWindowManagersThatTileAWindowIsADialog()
{
    const auto shell = makeLinuxShell(m_hotKey);
    BareWindow window;
    shell->makeKeyAndOrderFront(window);
    // The server has it before it reads the toolkit's request to show the window.
    QCOMPARE(window.names("_NET_WM_WINDOW_TYPE"),
             (QByteArrayList{"_NET_WM_WINDOW_TYPE_NORMAL", "_NET_WM_WINDOW_TYPE_DIALOG"}));
}

void tst_LinuxShell::oddResolutionsOfFontsAreRounded_data()
{
    QTest::addColumn<QByteArray>("resources");
    QTest::addColumn<std::optional<int>>("resolution");

    const auto row = [](const char *name, const QByteArray &resources, std::optional<int> result) {
        QTest::newRow(name) << resources << result;
    };
    row("none", "Xft.antialias: 1\n", std::nullopt);
    row("usual", "Xft.dpi:\t96\n", 96);
    row("measured", "Xft.hinting: 1\nXft.dpi: 98.9\n", 96);
    row("half more", "Xft.dpi: 144", 144);
    row("somewhat more", "Xft.dpi: 115", 120);
    row("twice", "Xft.dpi: 192\n", 192);
    row("nonsense", "Xft.dpi: much", std::nullopt);
    row("negative", "Xft.dpi: -96", std::nullopt);
}

void tst_LinuxShell::oddResolutionsOfFontsAreRounded()
{
    QFETCH(const QByteArray, resources);
    QFETCH(const std::optional<int>, resolution);
    const std::unique_ptr<xcb_connection_t, decltype(&xcb_disconnect)> connection(
        xcb_connect(nullptr, nullptr), &xcb_disconnect);
    const xcb_window_t root = xcb_setup_roots_iterator(xcb_get_setup(connection.get())).data->root;
    xcb_change_property(connection.get(), XCB_PROP_MODE_REPLACE, root, XCB_ATOM_RESOURCE_MANAGER,
                        XCB_ATOM_STRING, 8, static_cast<uint32_t>(resources.size()),
                        resources.constData());
    // Waits until the server has it.
    (void)atom(connection.get(), "RESOURCE_MANAGER");
    QCOMPARE(makeLinuxShell(m_hotKey)->toolkitSettings().fontResolution, resolution);
}

void tst_LinuxShell::theMiddleIsThatOfTheFreeScreen()
{
    const auto shell = makeLinuxShell(m_hotKey);
    BareWindow window;
    shell->center(window);
    QCOMPARE(window.corner, QPoint(450, 300));
}

void tst_LinuxShell::aDisplayIsWhereTheServerAnswers()
{
    QVERIFY(makeLinuxShell(m_hotKey)->hasDisplay());
    const QByteArray display = qgetenv("DISPLAY");
    for (const QByteArray &other : {QByteArray(), QByteArray(":987"), QByteArray("nonsense")}) {
        qputenv("DISPLAY", other);
        QVERIFY(!makeLinuxShell(m_hotKey)->hasDisplay());
    }
    qputenv("DISPLAY", display);
}

void tst_LinuxShell::aServerThatDoesNotAnswerIsNotWaitedForForever()
{
    kill(static_cast<pid_t>(m_desktop->server()), SIGSTOP);
    const bool hasDisplay = makeLinuxShell(m_hotKey)->hasDisplay();
    kill(static_cast<pid_t>(m_desktop->server()), SIGCONT);
    QVERIFY(!hasDisplay);
}

void tst_LinuxShell::anotherWayToShowWindowsIsTheUsersChoice()
{
    QCOMPARE(makeLinuxShell(m_hotKey)->toolkitSettings().arguments,
             (QByteArrayList{"-platform", "xcb"}));
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QCOMPARE(makeLinuxShell(m_hotKey)->toolkitSettings().arguments, QByteArrayList());
    const QByteArray display = qgetenv("DISPLAY");
    qunsetenv("DISPLAY");
    QVERIFY(makeLinuxShell(m_hotKey)->hasDisplay());
    qputenv("DISPLAY", display);
    qunsetenv("QT_QPA_PLATFORM");
}

QTEST_GUILESS_MAIN(tst_LinuxShell)
#include "tst_LinuxShell.moc"
