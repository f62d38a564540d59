// Further starts of the program, requests over the bus, and desktops that lack something.

#include "platform/linux/desktop/LinuxInstance.h"
#include "tests/app/PanelOnDesktopFixture.h"
#include "tests/support/Waiting.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QFile>
#include <QPoint>

#include <algorithm>

using namespace Hands;
using namespace Qt::StringLiterals;

namespace {
/// Calls the program over the bus like desktops, which may start it.
bool call(const QString &method, const QVariantList &arguments)
{
    QDBusMessage message =
        QDBusMessage::createMethodCall(u"app.quillon.Quillon"_s, u"/app/quillon/Quillon"_s,
                                       u"org.freedesktop.Application"_s, method);
    message.setArguments(arguments);
    return QDBusConnection::sessionBus().call(message).type() == QDBusMessage::ReplyMessage;
}
} // namespace

class tst_PanelInstanceOnDesktop : public PanelOnDesktopFixture
{
    Q_OBJECT

private Q_SLOTS:
    void aSecondStartSummonsWhatIsHidden();
    void aSecondStartBringsForwardWhatIsCovered();
    void aSecondStartChangesNothingWhileThePanelHasTheKeyboard();
    void toggleShowsAndHidesTheRunningPanel();
    void toggleStartsThePanelWhereNoneRuns();
    void desktopsReachThePanelOverTheirBus();
    void theBusStartsThePanelForWhateverIsAskedOfIt();
    void fiftyStartsAtOnceAreOnePanel();
    void aKilledPredecessorIsSucceeded();
    void aStoppedPredecessorIsNotWaitedForForever();
    void withoutASessionBusThePanelWorksAllTheSame();
    void aSessionBusThatGoesAwayLeavesThePanel();
    void withoutADisplayThereIsOneSentence_data();
    void withoutADisplayThereIsOneSentence();
};

void tst_PanelInstanceOnDesktop::aSecondStartSummonsWhatIsHidden()
{
    const Start quillon;
    QTRY_VERIFY(panelHasTheKeyboard());
    const TestWindow other(*m_desktop, u"other"_s, u"one.One"_s);
    for (const bool isClosed : {false, true}) {
        if (isClosed)
            m_screen.close({panel()->id});
        else
            xdotool({u"windowminimize"_s, number(*panel())});
        QTRY_VERIFY(!panelIsSeen());
        Start second;
        QTRY_VERIFY(panelHasTheKeyboard());
        QTRY_COMPARE(geometry(*panel()), inTheMiddle);
        QTRY_VERIFY(!second.isRunning());
        QCOMPARE(second.exitCode(), 0);
        QCOMPARE(second.errors(), QString());
        QCOMPARE(panel()->process, quillon.pid());
    }
}

void tst_PanelInstanceOnDesktop::aSecondStartBringsForwardWhatIsCovered()
{
    const Start quillon;
    QTRY_VERIFY(panelHasTheKeyboard());
    xdotool({u"windowmove"_s, number(*panel()), u"3"_s, u"5"_s});
    QTRY_COMPARE(geometry(*panel()).topLeft(), QPoint(3, 5));
    const TestWindow other(*m_desktop, u"other"_s, u"one.One"_s);
    QTRY_COMPARE(activeTitle(), u"other"_s);
    const Start second;
    QTRY_VERIFY(panelHasTheKeyboard());
    // It was visible, so it was not summoned.
    QCOMPARE(geometry(*panel()).topLeft(), QPoint(3, 5));
}

void tst_PanelInstanceOnDesktop::aSecondStartChangesNothingWhileThePanelHasTheKeyboard()
{
    const Start quillon;
    QTRY_VERIFY(panelHasTheKeyboard());
    xdotool({u"windowmove"_s, number(*panel()), u"3"_s, u"5"_s});
    QTRY_COMPARE(geometry(*panel()).topLeft(), QPoint(3, 5));
    const Start second;
    QTRY_VERIFY(!second.isRunning());
    QCOMPARE(second.exitCode(), 0);
    QVERIFY(panelHasTheKeyboard());
    QCOMPARE(geometry(*panel()).topLeft(), QPoint(3, 5));
}

void tst_PanelInstanceOnDesktop::toggleShowsAndHidesTheRunningPanel()
{
    const Start quillon;
    QTRY_VERIFY(panelHasTheKeyboard());
    for (const bool isShown : {false, true, false}) {
        const Start toggle({u"--toggle"_s});
        QTRY_VERIFY(!toggle.isRunning());
        QCOMPARE(toggle.exitCode(), 0);
        if (isShown)
            QTRY_VERIFY(panelHasTheKeyboard());
        else
            QTRY_VERIFY(!panelIsSeen());
    }
}

void tst_PanelInstanceOnDesktop::toggleStartsThePanelWhereNoneRuns()
{
    const Start quillon({u"--toggle"_s});
    QTRY_VERIFY(panelHasTheKeyboard());
    QVERIFY(quillon.isRunning());
    QCOMPARE(panel()->process, quillon.pid());
}

void tst_PanelInstanceOnDesktop::desktopsReachThePanelOverTheirBus()
{
    const Start quillon;
    QTRY_VERIFY(panelHasTheKeyboard());
    m_screen.close({panel()->id});
    QTRY_VERIFY(!panelIsSeen());
    QVERIFY(call(u"Activate"_s, {QVariantMap()}));
    QTRY_VERIFY(panelHasTheKeyboard());
    QVERIFY(call(u"ActivateAction"_s, {u"toggle"_s, QVariantList(), QVariantMap()}));
    QTRY_VERIFY(!panelIsSeen());
    QVERIFY(call(u"Open"_s, {QStringList{u"file:///"_s}, QVariantMap()}));
    QTRY_VERIFY(panelHasTheKeyboard());
}

void tst_PanelInstanceOnDesktop::theBusStartsThePanelForWhateverIsAskedOfIt()
{
    const auto reload = [] {
        const QDBusMessage message =
            QDBusMessage::createMethodCall(u"org.freedesktop.DBus"_s, u"/org/freedesktop/DBus"_s,
                                           u"org.freedesktop.DBus"_s, u"ReloadConfig"_s);
        return QDBusConnection::sessionBus().call(message).type() == QDBusMessage::ReplyMessage;
    };
    const QString service = u"../services/app.quillon.Quillon.service"_s; // beside the home folder
    m_desktop->write(service, "[D-BUS Service]\nName=app.quillon.Quillon\nExec=" PANEL_PROGRAM
                              " --activated\n");
    QVERIFY(reload());
    // A toggle shows the panel; the next one hides it.
    const QVariantList toggle{u"toggle"_s, QVariantList(), QVariantMap()};
    QVERIFY(call(u"ActivateAction"_s, toggle));
    QTRY_VERIFY(panelHasTheKeyboard());
    const auto quillon = static_cast<pid_t>(panel()->process.value());
    QVERIFY(call(u"ActivateAction"_s, toggle));
    QTRY_VERIFY(!panelIsSeen());
    QVERIFY(call(u"Activate"_s, {QVariantMap()}));
    QTRY_VERIFY(panelHasTheKeyboard());

    QVERIFY(QFile::remove(m_desktop->home(service)));
    QVERIFY(reload());
    QCOMPARE(::kill(quillon, SIGKILL), 0);
}

void tst_PanelInstanceOnDesktop::fiftyStartsAtOnceAreOnePanel()
{
    constexpr std::size_t atOnce = 50;
    std::vector<std::unique_ptr<Start>> starts;
    starts.reserve(atOnce);
    while (starts.size() < atOnce)
        starts.push_back(std::make_unique<Start>());
    const auto running = [&] {
        return std::ranges::count_if(starts, [](const auto &start) { return start->isRunning(); });
    };
    QTRY_COMPARE_WITH_TIMEOUT(running(), 1, 2 * eventually);
    QTRY_VERIFY(panelHasTheKeyboard());
    int windows = 0;
    for (const X11Window &window : look().windows)
        windows += window.title == u"Quillon" ? 1 : 0;
    QCOMPARE(windows, 1);
    for (const auto &start : starts) {
        if (start->isRunning())
            QCOMPARE(panel()->process, start->pid());
        else
            QCOMPARE(start->exitCode(), 0);
        QCOMPARE(start->errors(), QString());
    }
}

void tst_PanelInstanceOnDesktop::aKilledPredecessorIsSucceeded()
{
    for (int i = 0; i < 3; ++i) {
        const Start first;
        QTRY_VERIFY(panelHasTheKeyboard());
        first.signal(SIGKILL);
        const Start second;
        QTRY_VERIFY(panelHasTheKeyboard() && panel()->process == second.pid());
        press(u"alt+space"_s);
        QTRY_VERIFY(!panelIsSeen());
    }
}

void tst_PanelInstanceOnDesktop::aStoppedPredecessorIsNotWaitedForForever()
{
    const Start first;
    QTRY_VERIFY(panelHasTheKeyboard());
    first.signal(SIGSTOP);
    Start second;
    QTRY_VERIFY_WITH_TIMEOUT(!second.isRunning(), LinuxInstance::answerLimit + eventually);
    QCOMPARE(second.exitCode(), 1);
    QCOMPARE(second.errors(),
             u"Quillon is running but does not answer: end it, then start it again.\n"_s);
    // It receives the missed requests when it continues.
    first.signal(SIGCONT);
    const Start third({u"--toggle"_s});
    QTRY_VERIFY(!third.isRunning());
    QCOMPARE(third.exitCode(), 0);
    QTRY_VERIFY(!panelIsSeen());
}

void tst_PanelInstanceOnDesktop::withoutASessionBusThePanelWorksAllTheSame()
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(u"DBUS_SESSION_BUS_ADDRESS"_s, u"unix:path=/nowhere/bus"_s);
    const Start quillon({}, environment);
    QTRY_VERIFY(panelHasTheKeyboard());
    press(u"alt+space"_s);
    QTRY_VERIFY(!panelIsSeen());
    press(u"alt+space"_s);
    QTRY_VERIFY(panelHasTheKeyboard());
}

void tst_PanelInstanceOnDesktop::aSessionBusThatGoesAwayLeavesThePanel()
{
    QProcess bus;
    bus.start(u"dbus-daemon"_s, {u"--session"_s, u"--nofork"_s, u"--print-address"_s});
    QTRY_VERIFY(bus.canReadLine());
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(u"DBUS_SESSION_BUS_ADDRESS"_s, QString::fromUtf8(bus.readLine().trimmed()));
    Start quillon({}, environment);
    QTRY_VERIFY(panelHasTheKeyboard());
    bus.kill();
    QVERIFY(bus.waitForFinished());
    press(u"alt+space"_s);
    QTRY_VERIFY(!panelIsSeen());
    press(u"alt+space"_s);
    QTRY_VERIFY(panelHasTheKeyboard());
    QVERIFY2(quillon.isRunning(), qPrintable(quillon.errors()));
}

void tst_PanelInstanceOnDesktop::withoutADisplayThereIsOneSentence_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QString>("display");

    QTest::newRow("none") << QStringList() << QString();
    QTest::newRow("one that does not answer") << QStringList() << u":987"_s;
    QTest::newRow("a toggle") << QStringList{u"--toggle"_s} << QString();
}

void tst_PanelInstanceOnDesktop::withoutADisplayThereIsOneSentence()
{
    QFETCH(const QStringList, arguments);
    QFETCH(const QString, display);
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(u"DISPLAY"_s, display);
    Start quillon(arguments, environment);
    QTRY_VERIFY(!quillon.isRunning());
    QCOMPARE(quillon.exitCode(), 1);
    QCOMPARE(quillon.errors(),
             u"Quillon needs a desktop to show its panel on; without one, give it a task: "
             "quillon --task \"Find the latest PDF in my Downloads folder\"\n"_s);
}

QTEST_GUILESS_MAIN(tst_PanelInstanceOnDesktop)
#include "tst_PanelInstanceOnDesktop.moc"
