// The real panel with the window managers of common desktops and at several scales: its position,
// the stacking order and the focus. Writes screenshots for review.

#include "models/LocalModel.h"
#include "platform/linux/x11/X11Desktop.h"
#include "tests/support/Hands.h"
#include "tests/support/TestModel.h"
#include "tests/support/VirtualDesktop.h"
#include "tests/support/Waiting.h"

#include <QDir>
#include <QProcess>
#include <QTest>

#include <algorithm>

using namespace Hands;
using namespace Qt::StringLiterals;

namespace {
constexpr QSize screen(1920, 1080);

QByteArray propertyOf(const X11Window &window, const QString &name)
{
    QProcess process;
    process.start(u"xprop"_s, {u"-id"_s, number(window), name});
    if (!process.waitForFinished() || process.exitCode() != 0)
        qFatal("xprop does not work.");
    return process.readAll();
}

// The window without the margin in which it draws its own shadow.
QRect body(const X11Window &window)
{
    const QByteArray margins = propertyOf(window, u"_GTK_FRAME_EXTENTS"_s);
    const QList<QByteArray> sides = margins.mid(margins.indexOf('=') + 1).split(',');
    if (!margins.contains('=') || sides.size() != 4)
        return geometry(window);
    const auto side = [&](qsizetype index) { return sides[index].trimmed().toInt(); };
    return geometry(window).adjusted(side(0), side(2), -side(1), -side(3));
}
} // namespace

class tst_PanelOnDesktops : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void isInTheMiddleAndFits_data();
    void isInTheMiddleAndFits();
    void isNotMissed_data();
    void isNotMissed();

private:
    /// A row for each window manager and scale.
    static void addDesktops(const QStringList &windowManagers);
    void start(const QList<QByteArray> &replies);
    void keepPicture(const QString &name) const;
    [[nodiscard]] QList<X11Window> windows() { return look().windows; }
    [[nodiscard]] X11Snapshot look() { return m_screen->snapshot().value_or(X11Snapshot()); }
    [[nodiscard]] std::optional<X11Window> find(const QString &title)
    {
        const QList<X11Window> all = windows();
        const auto found =
            std::ranges::find_if(all, [&](const X11Window &one) { return one.title == title; });
        return found == all.end() ? std::nullopt : std::optional(*found);
    }
    [[nodiscard]] std::optional<X11Window> panel() { return find(u"Quillon"_s); }
    [[nodiscard]] QString inFront()
    {
        const QList<X11Window> all = windows();
        return all.isEmpty() ? QString() : all.first().title.value_or(QString());
    }
    [[nodiscard]] bool hasState(const char *state)
    {
        const std::optional<X11Window> window = panel();
        return window && propertyOf(*window, u"_NET_WM_STATE"_s).contains(state);
    }
    [[nodiscard]] QString withTheKeyboard()
    {
        const std::optional<X11Window> active = look().active;
        return active ? active->title.value_or(QString()) : QString();
    }

    std::unique_ptr<VirtualDesktop> m_desktop;
    std::unique_ptr<X11Desktop> m_screen;
    QProcess m_program;
};

void tst_PanelOnDesktops::addDesktops(const QStringList &windowManagers)
{
    QTest::addColumn<QStringList>("windowManager");
    QTest::addColumn<double>("scale");

    for (const QString &manager : windowManagers) {
        const QStringList command =
            manager == u"openbox" ? VirtualDesktop::Options().windowManager : QStringList{manager};
        for (const double scale : {1.0, 2.0}) {
            QTest::addRow("%s at %d", qPrintable(manager), qRound(scale * 100)) << command << scale;
        }
    }
}

void tst_PanelOnDesktops::init()
{
    QFETCH(const QStringList, windowManager);
    QFETCH(const double, scale);
    m_desktop = std::make_unique<VirtualDesktop>(
        VirtualDesktop::Options{.screen = u"%1x%2x24"_s.arg(screen.width()).arg(screen.height()),
                                .windowManager = windowManager,
                                .scale = scale,
                                // Its usual configuration has a bar and asks for a key.
                                .files = {{u".config/i3/config"_s, "# i3 config file (v4)\n"}}});
    m_screen = std::make_unique<X11Desktop>();
}

void tst_PanelOnDesktops::cleanup()
{
    m_program.kill();
    m_program.waitForFinished(-1);
    m_screen.reset();
    m_desktop.reset();
}

void tst_PanelOnDesktops::start(const QList<QByteArray> &replies)
{
    const QString file = u".local/share/Quillon/Models/"_s + LocalModel::catalog().first().fileName;
    m_desktop->write(file, {});
    TestModel::saying(replies).write(m_desktop->home(file));
    m_desktop->write(u"old.zip"_s, "old");
    m_program.setProcessChannelMode(QProcess::ForwardedChannels);
    m_program.start(u"" QUILLON_PROGRAM ""_s, QStringList());
    QVERIFY(m_program.waitForStarted());
    QTRY_COMPARE(withTheKeyboard(), u"Quillon"_s);
}

void tst_PanelOnDesktops::keepPicture(const QString &name) const
{
    // A compositor paints the window some time after it is mapped.
    QTest::qWait(700);
    const QString folder = u"" SCREENSHOTS "/desktops"_s;
    QDir().mkpath(folder);
    const QString place =
        folder + u'/' + QString::fromUtf8(QTest::currentDataTag()) + u", "_s + name + u".png"_s;
    QCOMPARE(QProcess::execute(u"import"_s, {u"-window"_s, u"root"_s, place}), 0);
}

void tst_PanelOnDesktops::isInTheMiddleAndFits_data()
{
    addDesktops({u"openbox"_s, u"xfwm4"_s, u"marco"_s, u"kwin_x11"_s, u"i3"_s});
}

void tst_PanelOnDesktops::isInTheMiddleAndFits()
{
    QFETCH(const double, scale);
    start({R"({"action":"done","message":"Nothing to do."})"});
    const QSize wanted = (QSizeF(720, 620) * scale).toSize().boundedTo(screen);
    QTRY_COMPARE(body(*panel()).size(), wanted);
    QRect middle(QPoint(), wanted);
    middle.moveCenter(QRect(QPoint(), screen).center());
    const auto distance = [&] {
        return (body(*panel()).topLeft() - middle.topLeft()).manhattanLength();
    };
    QTRY_VERIFY(distance() <= 2);
    keepPicture(u"start"_s);
}

void tst_PanelOnDesktops::isNotMissed_data()
{
    // A tiling window manager always keeps floating windows above.
    addDesktops({u"openbox"_s, u"xfwm4"_s, u"marco"_s, u"kwin_x11"_s});
}

void tst_PanelOnDesktops::isNotMissed()
{
    m_desktop->write(u".local/share/applications/other.desktop"_s,
                     "[Desktop Entry]\nType=Application\nName=Other\nStartupWMClass=other\n"
                     "Exec=" TEST_WINDOW " other other.Other unattended\n");
    start({R"({"action":"open_app","app":"Other"})", R"({"action":"trash","path":"old.zip"})",
           R"({"action":"done","message":"That is all there was to do."})"});
    type(u"tidy up"_s);
    // Return has no effect until the model is loaded.
    const auto hasOpened = [this] {
        press(u"Return"_s);
        return QTest::qWaitFor([this] { return find(u"other"_s).has_value(); }, 2000);
    };
    QVERIFY(QTest::qWaitFor(hasOpened, eventually));
    // The question is visible although another window has the focus.
    QTRY_COMPARE(withTheKeyboard(), u"other"_s);
    QTRY_VERIFY(hasState("_NET_WM_STATE_ABOVE"));
    QTRY_COMPARE(inFront(), u"Quillon"_s);
    // Marco shows the state only for covered windows.
    QFETCH(const QStringList, windowManager);
    if (windowManager.first() != u"marco")
        QTRY_VERIFY(hasState("_NET_WM_STATE_DEMANDS_ATTENTION"));
    QCOMPARE(withTheKeyboard(), u"other"_s);
    keepPicture(u"question"_s);
    // After the task, it is a normal window.
    xdotool({u"windowactivate"_s, u"--sync"_s, number(*panel())});
    QTRY_COMPARE(withTheKeyboard(), u"Quillon"_s);
    press(u"Escape"_s);
    QTRY_VERIFY(!hasState("_NET_WM_STATE_ABOVE"));
    QVERIFY(!hasState("_NET_WM_STATE_DEMANDS_ATTENTION"));
    QVERIFY(QFile::exists(m_desktop->home(u"old.zip"_s)));
}

QTEST_GUILESS_MAIN(tst_PanelOnDesktops)

#include "tst_PanelOnDesktops.moc"
