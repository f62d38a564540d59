#include "tests/desktop/Desktop.h"

#include <QDir>
#include <QImage>

using namespace Qt::StringLiterals;

// Starts, activates and quits applications, with the real pauses.
class tst_DesktopApplications : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void cleanup();

    void stockNamesOpenThisDesktopsApplications_data();
    void stockNamesOpenThisDesktopsApplications();
    void anApplicationThatRunsComesForwardAndDoesNotStartAgain();
    void windowsAreListedFrontToBack();
    void aPartOfTheNameDoes();
    void quittingEndsTheProcess();
    void anApplicationThatHangsHoldsNobodyUp();
    void anApplicationThatDiedIsNotRunning();
    void theApplicationIsInThePicture();

private:
    // Tries again if another application that was starting has come to the front meanwhile.
    void open(const QString &name, const QString &realName)
    {
        const QDeadlineTimer limit(appLimit);
        do {
            QCOMPARE(outcome(u"open_app"_s, {{u"app"_s, name}}),
                     realName + u" is now frontmost."_s);
        } while (!QTest::qWaitFor([&] { return frontName() == realName; }) && !limit.hasExpired());
        QCOMPARE(frontName(), realName);
    }

    std::unique_ptr<VirtualDesktop> m_desktop;
};

void tst_DesktopApplications::initTestCase()
{
    m_desktop = std::make_unique<VirtualDesktop>();
    m_desktop->install(u"org.gnome.Calculator.desktop"_s);
    m_desktop->install(u"org.xfce.mousepad.desktop"_s, {u"text/plain"_s});
    m_desktop->install(u"featherpad.desktop"_s);
    m_desktop->install(u"pcmanfm.desktop"_s, {u"inode/directory"_s});
    m_desktop->install(u"debian-xterm.desktop"_s);
}

void tst_DesktopApplications::cleanup()
{
    closeEverything();
}

void tst_DesktopApplications::stockNamesOpenThisDesktopsApplications_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("realName");
    QTest::addColumn<QString>("program");
    QTest::newRow("Calculator") << u"Calculator"_s << u"Calculator"_s << u"/gnome-calculator"_s;
    QTest::newRow("TextEdit") << u"TextEdit"_s << u"Mousepad"_s << u"/mousepad"_s;
    QTest::newRow("Finder") << u"finder"_s << u"File Manager PCManFM"_s << u"/pcmanfm"_s;
    QTest::newRow("Terminal") << u"terminal"_s << u"XTerm"_s << u"/xterm"_s;
}

void tst_DesktopApplications::stockNamesOpenThisDesktopsApplications()
{
    QFETCH(const QString, name);
    QFETCH(const QString, realName);
    QFETCH(const QString, program);
    open(name, realName);
    QCOMPARE(m_desktop->processes(program), QList<qint64>{static_cast<qint64>(processOf(name))});
}

void tst_DesktopApplications::anApplicationThatRunsComesForwardAndDoesNotStartAgain()
{
    open(u"featherpad"_s, u"FeatherPad"_s);
    open(u"xterm"_s, u"XTerm"_s);
    const ProcessId pid = processOf(u"FeatherPad"_s);
    QCOMPARE(outcome(u"focus_app"_s, {{u"app"_s, u"FEATHERPAD"_s}}),
             u"FeatherPad is now frontmost."_s);
    APP_TRY_COMPARE(frontName(), u"FeatherPad"_s);
    QCOMPARE(processOf(u"FeatherPad"_s), pid);
    APP_TRY_COMPARE(windows().size(), 2);
}

void tst_DesktopApplications::windowsAreListedFrontToBack()
{
    open(u"XTerm"_s, u"XTerm"_s);
    open(u"Mousepad"_s, u"Mousepad"_s);
    open(u"Calculator"_s, u"Calculator"_s);
    const QString terminal = windows().constLast();
    QVERIFY2(terminal.startsWith(u"XTerm — "_s), qPrintable(terminal));
    const QStringList before{u"Calculator — Calculator"_s, u"Mousepad — Untitled 1 - Mousepad"_s,
                             terminal};
    APP_TRY_COMPARE(windows(), before);
    open(u"XTerm"_s, u"XTerm"_s);
    const QStringList after{terminal, before[0], before[1]};
    APP_TRY_COMPARE(windows(), after);
    QCOMPARE(outcome(u"list_windows"_s), after.join(u"; "_s));
    QCOMPARE(Executor::observe(), u"Frontmost app: XTerm. Windows: "_s + after.join(u"; "_s));
}

void tst_DesktopApplications::aPartOfTheNameDoes()
{
    open(u"feather"_s, u"FeatherPad"_s);
    open(u"Calc"_s, u"Calculator"_s);
    // Running applications are searched first.
    open(u"pad"_s, u"FeatherPad"_s);
    QVERIFY(m_desktop->processes(u"/mousepad"_s).isEmpty());
}

void tst_DesktopApplications::quittingEndsTheProcess()
{
    open(u"Calculator"_s, u"Calculator"_s);
    const ProcessId pid = processOf(u"Calculator"_s);
    const Executor::PauseOverride untilItHasEnded([&](auto, const auto &) {
        APP_TRY_VERIFY(Platform::current().workspace().hasTerminated(pid));
    });
    QCOMPARE(outcome(u"quit_app"_s, {{u"app"_s, u"calculator"_s}}), u"calculator quit."_s);
    APP_TRY_VERIFY(m_desktop->processes(u"/gnome-calculator"_s).isEmpty());
    QCOMPARE(outcome(u"quit_app"_s, {{u"app"_s, u"calculator"_s}}),
             u"calculator is not running."_s);
}

void tst_DesktopApplications::anApplicationThatHangsHoldsNobodyUp()
{
    open(u"Mousepad"_s, u"Mousepad"_s);
    open(u"XTerm"_s, u"XTerm"_s);
    const auto pid = static_cast<pid_t>(processOf(u"Mousepad"_s));
    QCOMPARE(::kill(pid, SIGSTOP), 0);
    open(u"Mousepad"_s, u"Mousepad"_s);
    APP_TRY_COMPARE(windows().constFirst(), u"Mousepad — Untitled 1 - Mousepad"_s);
    QCOMPARE(outcome(u"quit_app"_s, {{u"app"_s, u"Mousepad"_s}}),
             u"Asked Mousepad to quit (it may be waiting on a save prompt)."_s);
    QVERIFY(outcome(u"screenshot"_s, {{u"folder"_s, u"home"_s}}).startsWith(u"Saved"_s));
    QCOMPARE(::kill(pid, SIGCONT), 0);
    // It still quits when requested.
    APP_TRY_VERIFY(m_desktop->processes(u"/mousepad"_s).isEmpty());
}

void tst_DesktopApplications::anApplicationThatDiedIsNotRunning()
{
    open(u"Mousepad"_s, u"Mousepad"_s);
    const ProcessId pid = processOf(u"Mousepad"_s);
    QCOMPARE(::kill(static_cast<pid_t>(pid), SIGKILL), 0);
    APP_TRY_VERIFY(!Executor::runningApp(u"Mousepad"_s));
    APP_TRY_VERIFY(Platform::current().workspace().hasTerminated(pid));
    QCOMPARE(outcome(u"quit_app"_s, {{u"app"_s, u"Mousepad"_s}}), u"Mousepad is not running."_s);
    QCOMPARE(outcome(u"list_windows"_s), u"none"_s);
}

void tst_DesktopApplications::theApplicationIsInThePicture()
{
    m_desktop->start(u"xterm"_s, {u"-bg"_s, u"#123456"_s, u"-geometry"_s, u"80x24+100+100"_s});
    APP_TRY_COMPARE(frontName(), u"XTerm"_s);
    const QString folder = u"Pictures/Screens"_s;
    QVERIFY(QDir(m_desktop->home()).mkpath(folder));
    const auto shown = [&] {
        const QString told = outcome(u"screenshot"_s, {{u"save_to"_s, folder}});
        const QString start = u"Saved screenshot to "_s + m_desktop->home(folder) + u'/';
        if (!told.startsWith(start))
            qFatal("%s", qPrintable(told));
        const QImage image(told.sliced(20).chopped(1), "PNG");
        return image.size() == QSize(1280, 800) ? image.pixelColor(400, 300) : QColor();
    };
    APP_TRY_COMPARE(shown(), QColor(0x12, 0x34, 0x56));
}

QTEST_GUILESS_MAIN(tst_DesktopApplications)
#include "tst_DesktopApplications.moc"
