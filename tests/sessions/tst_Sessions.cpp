// The real panel in a session of a common desktop, at three scales: its place and size, the
// stacking order, the focus, the shadow, the icon, the colours, notifications and the key. Writes
// screenshots of its states for review.

#include "models/LocalModel.h"
#include "platform/linux/x11/X11Desktop.h"
#include "tests/support/Hands.h"
#include "tests/support/KeyOwner.h"
#include "tests/support/Session.h"
#include "tests/support/TestModel.h"
#include "tests/support/Waiting.h"

#include <QColor>
#include <QDir>
#include <QImage>
#include <QProcess>
#include <QRegularExpression>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTest>

#include <algorithm>
#include <csignal>

using namespace Hands;
using namespace Qt::StringLiterals;

namespace {
constexpr QSize fullHd(1920, 1080);

// Neither light nor dark, so that pictures show shadows and corners.
constexpr QColor desktopColor(0x5f, 0x7f, 0x95);

const QByteArray openOther = R"({"action":"open_app","app":"Other"})";
const QByteArray trashOld = R"({"action":"trash","path":"old.zip"})";
const QByteArray done = R"({"action":"done","message":"That is all there was to do."})";

QByteArray propertyOf(const X11Window &window, const QString &name)
{
    return output(u"xprop"_s, {u"-id"_s, number(window), name});
}

// A proxy that accepts connections and does not answer at first: a download that does not progress.
class SilentProxy final : public QTcpServer
{
public:
    SilentProxy()
    {
        if (!listen(QHostAddress::LocalHost))
            qFatal("There is no loopback.");
        qputenv("https_proxy", "http://127.0.0.1:" + QByteArray::number(serverPort()));
    }
    ~SilentProxy() override { qunsetenv("https_proxy"); }

    void refuse()
    {
        for (QTcpSocket *const client : findChildren<QTcpSocket *>()) {
            client->write("HTTP/1.1 403 Forbidden\r\nContent-Length: 0\r\n\r\n");
            client->disconnectFromHost();
        }
    }
};

// GNOME starts with its overview, which has the keyboard.
bool leavesTheOverview()
{
    const QStringList call{
        u"call"_s,          u"--session"_s,        u"--dest"_s,  u"org.gnome.Shell"_s,
        u"--object-path"_s, u"/org/gnome/Shell"_s, u"--method"_s};
    const QString properties = u"org.freedesktop.DBus.Properties."_s;
    const QStringList property{u"org.gnome.Shell"_s, u"OverviewActive"_s};
    QProcess process;
    process.start(u"gdbus"_s,
                  call + QStringList{properties + u"Set"_s} + property + QStringList{u"<false>"_s});
    process.waitForFinished();
    process.start(u"gdbus"_s, call + QStringList{properties + u"Get"_s} + property);
    process.waitForFinished();
    return process.readAllStandardOutput().contains("false");
}
} // namespace

class tst_Sessions : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { m_program.setProcessChannelMode(QProcess::ForwardedChannels); }
    void cleanup();
    void cleanupTestCase() { endSession(); }

    // Those of the same scale use the same session, since some desktops start slowly.
    void isSetUpAndRunsATask_data();
    void isSetUpAndRunsATask();
    void bindsItsOtherKey();
    void comesToTheScreenOfTheMouse();
    void fitsASmallScreen();

private:
    void useSession(QSize screen, double scale);
    void startSession(QSize screen, double scale);
    void endSession();
    void isSetUp();
    void runsATask();
    void startPanel();
    void writeModel(const QList<QByteArray> &replies) const;
    void setDark(bool isDark) const;
    void submit(const QString &task);
    void closeOther();
    /// The program that the task has started shows its window.
    void showOther() const { m_desktop->write(u"shown"_s, {}); }
    void keepPicture(const QString &state);

    [[nodiscard]] QList<X11Window> windows()
    {
        return m_screen->snapshot().value_or(X11Snapshot()).windows;
    }
    [[nodiscard]] std::optional<X11Window> find(const QString &title)
    {
        const QList<X11Window> all = windows();
        const auto found = std::ranges::find(all, title, &X11Window::title);
        return found == all.end() ? std::nullopt : std::optional(*found);
    }
    [[nodiscard]] QList<X11Window> bars()
    {
        QList<X11Window> found;
        if (m_session->bars == 0)
            return found;
        const QByteArray told =
            xdotool({u"search"_s, u"--onlyvisible"_s, u"--class"_s, m_session->bar});
        for (const QByteArray &number : told.trimmed().split('\n'))
            found.emplace_back().id = X11WindowId(number.toUInt());
        return found;
    }
    [[nodiscard]] QString withTheKeyboard()
    {
        const auto active = m_screen->snapshot().value_or(X11Snapshot()).active;
        return active ? active->title.value_or(QString()) : QString();
    }
    [[nodiscard]] bool isPanelShown()
    {
        const std::optional<X11Window> panel = find(u"Quillon"_s);
        return panel && panel->onScreen;
    }
    /// Whether one window is above the other.
    [[nodiscard]] bool isAbove(const QString &upper, const QString &lower)
    {
        const QList<X11Window> all = windows();
        return std::ranges::find(all, upper, &X11Window::title) <
               std::ranges::find(all, lower, &X11Window::title);
    }
    [[nodiscard]] bool hasState(const char *state)
    {
        const std::optional<X11Window> panel = find(u"Quillon"_s);
        return panel && propertyOf(*panel, u"_NET_WM_STATE"_s).contains(state);
    }
    /// What the user sees of the panel, without its margin.
    [[nodiscard]] QRect place()
    {
        const std::optional<X11Window> panel = find(u"Quillon"_s);
        if (!panel)
            return {};
        static const QRegularExpression number(u"= (\\d+)"_s);
        const QString extents = QString::fromUtf8(propertyOf(*panel, u"_GTK_FRAME_EXTENTS"_s));
        const int margin = number.match(extents).captured(1).toInt();
        return geometry(*panel).adjusted(margin, margin, -margin, -margin);
    }
    /// The screen without the desktop's bars.
    [[nodiscard]] QRect freeArea();
    /// Whether the panel is in the middle of that area and as large as it should be.
    [[nodiscard]] bool isInTheMiddle(QRect area);
    [[nodiscard]] bool comesToTheMiddle();
    [[nodiscard]] QImage screenshot() const;
    /// The colour of an empty part of the panel.
    [[nodiscard]] QColor emptyPart()
    {
        const QRect area = place();
        return screenshot().pixelColor(area.left() + qRound(12 * m_scale), area.center().y());
    }

    QSize m_size;
    double m_scale = 1;
    std::optional<Session> m_session;
    std::unique_ptr<VirtualDesktop> m_desktop;
    std::unique_ptr<X11Desktop> m_screen;
    QProcess m_program;
};

void tst_Sessions::cleanup()
{
    m_program.kill();
    m_program.waitForFinished(-1);
}

void tst_Sessions::endSession()
{
    m_screen.reset();
    m_desktop.reset();
}

void tst_Sessions::useSession(QSize screen, double scale)
{
    if (!m_desktop || m_size != screen || m_scale != scale)
        startSession(screen, scale);
    closeOther();
    for (const QString &folder : {u".config/Quillon"_s, u".local/share/Quillon"_s})
        QDir(m_desktop->home(folder)).removeRecursively();
    setDark(false);
    moveMouse({5, screen.height() / 2});
    // After windows that end at once, window managers may leave the keyboard to none.
    xdotool({u"windowactivate"_s, number(*find(u"mine"_s))});
    QTRY_COMPARE(withTheKeyboard(), u"mine"_s);
}

void tst_Sessions::startSession(QSize screen, double scale)
{
    endSession();
    m_size = screen;
    m_scale = scale;
    m_session =
        Session::find(qEnvironmentVariable("QUILLON_TEST_SESSION", u"openbox"_s), screen, scale);
    const QString missing = m_session->missingProgram();
    if (!missing.isEmpty())
        qFatal("%s is not installed.", qPrintable(missing));
    m_desktop = std::make_unique<VirtualDesktop>(m_session->options);
    m_screen = std::make_unique<X11Desktop>();
    m_desktop->write(u".local/share/applications/other.desktop"_s,
                     "[Desktop Entry]\nType=Application\nName=Other\nStartupWMClass=other\n"
                     "Exec=sh -c \"touch " +
                         QFile::encodeName(m_desktop->home(u"started"_s)) + "; until [ -e " +
                         QFile::encodeName(m_desktop->home(u"shown"_s)) +
                         " ]; do sleep 0.1; done; exec " TEST_WINDOW
                         " other other.Other unattended\"\n");
    m_desktop->write(u"old.zip"_s, "old");
    // The desktop's bars are there before the panel, as after a login.
    const auto hasBars = [this] { return bars().size() >= m_session->bars; };
    QVERIFY(QTest::qWaitFor(hasBars, eventually));
    m_desktop->start(u"xterm"_s, {u"-T"_s, u"mine"_s, u"-bg"_s, desktopColor.name(), u"-geometry"_s,
                                  u"300x80+0+0"_s, u"-e"_s, u"seq 1 2000; exec cat"_s});
    QTRY_VERIFY(find(u"mine"_s).has_value());
    if (m_session->startsWithOverview)
        QVERIFY(QTest::qWaitFor(leavesTheOverview, eventually));
}

void tst_Sessions::startPanel()
{
    m_program.start(u"" QUILLON_PROGRAM ""_s, QStringList());
    QVERIFY(m_program.waitForStarted());
    QTRY_COMPARE(withTheKeyboard(), u"Quillon"_s);
}

void tst_Sessions::writeModel(const QList<QByteArray> &replies) const
{
    const QString file = u".local/share/Quillon/Models/"_s + LocalModel::catalog().first().fileName;
    m_desktop->write(file, {});
    TestModel::saying(replies).write(m_desktop->home(file));
}

void tst_Sessions::setDark(bool isDark) const
{
    (void)output(u"gsettings"_s, {u"set"_s, u"org.gnome.desktop.interface"_s, u"color-scheme"_s,
                                  isDark ? u"prefer-dark"_s : u"prefer-light"_s});
}

void tst_Sessions::submit(const QString &task)
{
    type(task);
    // Return has no effect until the model is loaded. The first step leaves a file.
    const auto isRunning = [this] {
        press(u"Return"_s);
        return QTest::qWaitFor([this] { return QFile::exists(m_desktop->home(u"started"_s)); },
                               1000);
    };
    QVERIFY(QTest::qWaitFor(isRunning, eventually));
}

void tst_Sessions::closeOther()
{
    for (const qint64 process : m_desktop->processes(u"quillon-test-window"_s))
        ::kill(static_cast<pid_t>(process), SIGKILL);
    QTRY_VERIFY(!find(u"other"_s));
    for (const QString &file : {u"started"_s, u"shown"_s})
        QFile::remove(m_desktop->home(file));
}

QImage tst_Sessions::screenshot() const
{
    const QString file = m_desktop->home(u"screen.png"_s);
    (void)output(u"import"_s, {u"-window"_s, u"root"_s, file});
    return QImage(file);
}

void tst_Sessions::keepPicture(const QString &state)
{
    // A compositor paints the window some time after it is mapped, and may let it fade in.
    const auto isPainted = [this] { return qAbs(emptyPart().red() - desktopColor.red()) > 40; };
    if (isPanelShown())
        QVERIFY(QTest::qWaitFor(isPainted, eventually));
    QTest::qWait(500);
    const QString folder = u"" SCREENSHOTS ""_s;
    QDir().mkpath(folder);
    QVERIFY(screenshot().save(
        u"%1/%2, %3, %4.png"_s.arg(folder, state, m_session->name).arg(qRound(100 * m_scale))));
}

QRect tst_Sessions::freeArea()
{
    const QString told = QString::fromUtf8(output(u"xprop"_s, {u"-root"_s, u"_NET_WORKAREA"_s}));
    static const QRegularExpression first(u"= (\\d+), (\\d+), (\\d+), (\\d+)"_s);
    const QRegularExpressionMatch found = first.match(told);
    if (found.hasMatch())
        return {found.captured(1).toInt(), found.captured(2).toInt(), found.captured(3).toInt(),
                found.captured(4).toInt()};
    // Without a work area, there is one bar, at the bottom.
    QRect area(QPoint(), fullHd);
    for (const X11Window &bar : bars())
        area.setBottom(geometry(bar).top() - 1);
    return area;
}

bool tst_Sessions::isInTheMiddle(QRect area)
{
    const QRect seen = place();
    const QSize wanted = (QSizeF(720, 620) * m_scale).toSize().boundedTo(area.size());
    return area.contains(seen) && qAbs(seen.width() - wanted.width()) <= 2 &&
           qAbs(seen.height() - wanted.height()) <= 2 &&
           (seen.center() - area.center()).manhattanLength() <= 3;
}

bool tst_Sessions::comesToTheMiddle()
{
    const bool isThere = QTest::qWaitFor([this] { return isInTheMiddle(freeArea()); }, eventually);
    if (!isThere)
        qWarning() << "The panel is at" << place() << "of" << freeArea();
    return isThere;
}

void tst_Sessions::isSetUpAndRunsATask_data()
{
    QTest::addColumn<double>("scale");
    for (const int percent : {200, 150, 100})
        QTest::addRow("%d", percent) << percent / 100.0;
}

void tst_Sessions::isSetUpAndRunsATask()
{
    QFETCH(const double, scale);
    useSession(fullHd, scale);
    isSetUp();
    if (QTest::currentTestFailed())
        return;
    cleanup();
    runsATask();
}

void tst_Sessions::isSetUp()
{
    SilentProxy proxy;
    startPanel();
    QVERIFY(comesToTheMiddle());
    keepPicture(u"set-up"_s);
    // The picker, then the button.
    press(u"Tab"_s);
    press(u"Tab"_s);
    press(u"Return"_s);
    QTRY_VERIFY(proxy.findChild<QTcpSocket *>());
    QTest::qWait(1000); // The examples fade in.
    keepPicture(u"download"_s);
    const QImage downloading = screenshot().copy(place());
    proxy.refuse();
    QTRY_VERIFY(screenshot().copy(place()) != downloading);
    keepPicture(u"failure"_s);
}

void tst_Sessions::runsATask()
{
    writeModel({openOther, trashOld, done});
    QProcess &notifications = m_desktop->start(
        u"dbus-monitor"_s, {u"--session"_s, u"interface='org.freedesktop.Notifications'"_s});
    startPanel();

    QVERIFY(comesToTheMiddle());
    QTRY_VERIFY(emptyPart().lightnessF() > 0.85);
    // What is behind shows through only if it is blurred.
    const auto isTinted = [this] { return emptyPart().red() < 243; };
    QTRY_COMPARE(isTinted(), m_session->blurs);
    const X11Window panel = *find(u"Quillon"_s);
    QVERIFY(propertyOf(panel, u"_NET_WM_ICON"_s).contains("Icon (16 x 16)"));
    // At larger scales, there is no room for it.
    const bool hasShadow = m_session->drawsShadows && m_scale == 1;
    QCOMPARE(propertyOf(panel, u"_GTK_FRAME_EXTENTS"_s).contains("= "), hasShadow);
    keepPicture(u"start"_s);
    if (hasShadow) {
        const QImage picture = screenshot();
        const QRect seen = place();
        const int below = std::min(seen.bottom() + 6, picture.height() - 1);
        QVERIFY(picture.pixelColor(seen.center().x(), below).lightnessF() <
                picture.pixelColor(seen.left() / 3, below).lightnessF());
    }

    submit(u"tidy up"_s);
    keepPicture(u"running"_s);
    showOther();
    // The question is visible although another window has the focus.
    QTRY_VERIFY(find(u"other"_s).has_value());
    QTRY_COMPARE(withTheKeyboard(), u"other"_s);
    QTRY_VERIFY(isAbove(u"Quillon"_s, u"other"_s));
    if (m_session->showsAttention)
        QTRY_VERIFY(hasState("_NET_WM_STATE_DEMANDS_ATTENTION"));
    QCOMPARE(withTheKeyboard(), u"other"_s);
    QTRY_VERIFY(emptyPart().lightnessF() < 0.85);
    keepPicture(u"question"_s);
    // The colours are followed while the panel is open.
    setDark(true);
    QTRY_VERIFY(emptyPart().lightnessF() < 0.3);
    keepPicture(u"question dark"_s);

    // After the task, it is a normal window.
    xdotool({u"windowactivate"_s, u"--sync"_s, number(panel)});
    QTRY_COMPARE(withTheKeyboard(), u"Quillon"_s);
    press(u"Escape"_s);
    QTRY_VERIFY(!hasState("_NET_WM_STATE_ABOVE"));
    QVERIFY(QFile::exists(m_desktop->home(u"old.zip"_s)));
    keepPicture(u"history dark"_s);

    // A hidden panel asks by a notification.
    closeOther();
    xdotool({u"windowactivate"_s, u"--sync"_s, number(panel)});
    QTRY_COMPARE(withTheKeyboard(), u"Quillon"_s);
    submit(u"tidy up"_s);
    press(u"Escape"_s);
    QTRY_VERIFY(!isPanelShown());
    showOther();
    QByteArray told;
    const auto isAsked = [&] {
        notifications.waitForReadyRead(50);
        told += notifications.readAllStandardOutput();
        return told.contains("Quillon asks: ") && told.contains("old.zip");
    };
    QVERIFY(QTest::qWaitFor(isAsked, eventually));
    // It appears some time after it is accepted, and some desktops let it fade in.
    QTest::qWait(1500);
    keepPicture(u"notification"_s);
    // It is not needed once the panel is there.
    QCOMPARE(QProcess::execute(u"" QUILLON_PROGRAM ""_s, {u"--toggle"_s}), 0);
    const auto isWithdrawn = [&] {
        notifications.waitForReadyRead(50);
        told += notifications.readAllStandardOutput();
        return told.contains("member=CloseNotification");
    };
    QVERIFY(QTest::qWaitFor(isWithdrawn, eventually));
}

void tst_Sessions::bindsItsOtherKey()
{
    useSession(fullHd, 1);
    // Unless the key belongs to the desktop itself.
    const KeyOwner owner;
    writeModel({done});
    startPanel();
    QVERIFY(comesToTheMiddle());
    keepPicture(u"key"_s);
    if (!m_session->bindsKeys)
        return;
    click(place().bottomRight() - QPoint(100, 57));
    keepPicture(u"key bound"_s);
    // The first key of a new virtual keyboard makes the desktop read its keys again.
    const auto isHiddenByTheKey = [this] {
        press(u"ctrl+alt+space"_s);
        return QTest::qWaitFor([this] { return !isPanelShown(); }, 3000);
    };
    QVERIFY(QTest::qWaitFor(isHiddenByTheKey, eventually));
    press(u"ctrl+alt+space"_s);
    QTRY_COMPARE(withTheKeyboard(), u"Quillon"_s);
}

void tst_Sessions::comesToTheScreenOfTheMouse()
{
    useSession(fullHd, 1);
    (void)output(u"xrandr"_s,
                 {u"--setmonitor"_s, u"left"_s, u"960/250x1080/280+0+0"_s, u"screen"_s});
    (void)output(u"xrandr"_s,
                 {u"--setmonitor"_s, u"right"_s, u"960/250x1080/280+960+0"_s, u"none"_s});
    writeModel({done});
    moveMouse({1500, 600});
    startPanel();
    const QRect left(0, 0, 960, 1080);
    const QRect right(960, 0, 960, 1080);
    QTRY_VERIFY(right.contains(place()));
    keepPicture(u"right screen"_s);
    press(u"Escape"_s);
    QTRY_VERIFY(!isPanelShown());
    moveMouse({300, 600});
    QCOMPARE(QProcess::execute(u"" QUILLON_PROGRAM ""_s, {u"--toggle"_s}), 0);
    QTRY_COMPARE(withTheKeyboard(), u"Quillon"_s);
    QTRY_VERIFY(left.contains(place()));
}

void tst_Sessions::fitsASmallScreen()
{
    useSession({1024, 600}, 1);
    writeModel({done});
    startPanel();
    keepPicture(u"small screen"_s);
    const QRect screen(0, 0, 1024, 600);
    QTRY_VERIFY(screen.contains(place()));
    QVERIFY(place().height() >= 460);
}

QTEST_GUILESS_MAIN(tst_Sessions)

#include "tst_Sessions.moc"
