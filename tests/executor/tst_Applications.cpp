#include "tests/executor/Running.h"
#include "tests/support/FakePlatform.h"

#include <QTest>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {
InstalledApplication installed(const QString &folder, const QString &name)
{
    return {{name}, folder + u'/' + name + u".app"_s};
}

Application running(int pid, const std::optional<QString> &name,
                    ActivationPolicy policy = ActivationPolicy::regular)
{
    return {.pid = ProcessId{pid}, .name = name, .policy = policy};
}
} // namespace

class tst_Applications : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void aliasesNameTheInstalledApplication_data();
    void aliasesNameTheInstalledApplication();
    void prefersAnExactMatchInAnyFolder();
    void choosesTheFirstPartialMatchInTheOrderOfTheFolders();
    void matchesEveryNameOfAnApplication();
    void ignoresTheEncodingOfAccents();
    void usesTheLocationOfARunningApplication();
    void aRunningApplicationWithoutALocationIsLookedUpInTheFolders();
    void doesNotFindAMissingApplication();

    void exactMatchesUseTheAliasAndPartialOnesTheGivenName();
    void onlyOrdinaryApplicationsCountAsRunning();
    void aNamelessApplicationMatchesNothing();
    void prefersAnExactRunningName();

    void anotherSystemsStockNameMeansThisDesktopsOwnApplication();
    void anInstalledStockNameMeansItself();

    void launchWaitsForTheApplicationAndReturnsItsName();
    void aFailedLaunchHasThePlatformsSentence();
    void launchingAMissingApplicationFails();

    void quittingAnApplicationThatIsNotRunningSucceeds();
    void quittingAStockNameMeansTheRunningApplication();
    void quitRequestsWaitsAndChecks();
    void reportsAnApplicationThatDoesNotQuit();

private:
    std::unique_ptr<FakePlatform> m_platform;
    std::unique_ptr<SeenPauses> m_pauses;
    FakeWorkspace *m_desk = nullptr;
};

void tst_Applications::init()
{
    m_platform = std::make_unique<FakePlatform>();
    m_pauses = std::make_unique<SeenPauses>();
    m_desk = &m_platform->fakeWorkspace;
    m_desk->folders = {u"/a"_s, u"/b"_s};
}

void tst_Applications::cleanup()
{
    m_desk = nullptr;
    m_pauses.reset();
    m_platform.reset();
}

void tst_Applications::aliasesNameTheInstalledApplication_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("application");
    QTest::newRow("vscode") << u"vscode"_s << u"Visual Studio Code"_s;
    QTest::newRow("vs code") << u"VS Code"_s << u"Visual Studio Code"_s;
    QTest::newRow("code") << u"code"_s << u"Visual Studio Code"_s;
    QTest::newRow("chrome") << u"Chrome"_s << u"Google Chrome"_s;
    QTest::newRow("brave") << u"brave"_s << u"Brave Browser"_s;
    QTest::newRow("word") << u"WORD"_s << u"Microsoft Word"_s;
    QTest::newRow("excel") << u"excel"_s << u"Microsoft Excel"_s;
    QTest::newRow("settings") << u"Settings"_s << u"System Settings"_s;
    QTest::newRow("system preferences") << u"System Preferences"_s << u"System Settings"_s;
    QTest::newRow("terminal") << u"terminal"_s << u"Terminal"_s;
}

void tst_Applications::aliasesNameTheInstalledApplication()
{
    QFETCH(const QString, name);
    QFETCH(const QString, application);
    // A partial match comes first: the alias must find the exact one.
    m_desk->installed[u"/a"_s] = {installed(u"/a"_s, application + u" Helper"_s)};
    m_desk->installed[u"/b"_s] = {installed(u"/b"_s, application)};
    QCOMPARE(Executor::appURL(name), u"/b/"_s + application + u".app"_s);
}

void tst_Applications::prefersAnExactMatchInAnyFolder()
{
    m_desk->installed[u"/a"_s] = {installed(u"/a"_s, u"Notes Plus"_s)};
    m_desk->installed[u"/b"_s] = {installed(u"/b"_s, u"Other"_s), installed(u"/b"_s, u"NOTES"_s)};
    QCOMPARE(Executor::appURL(u"notes"_s), u"/b/NOTES.app"_s);
}

void tst_Applications::choosesTheFirstPartialMatchInTheOrderOfTheFolders()
{
    m_desk->installed[u"/a"_s] = {installed(u"/a"_s, u"Zoo Chronicle"_s),
                                  installed(u"/a"_s, u"Achrome"_s)};
    m_desk->installed[u"/b"_s] = {installed(u"/b"_s, u"Chr"_s + u"omatic"_s)};
    QCOMPARE(Executor::appURL(u"Chr"_s), u"/a/Zoo Chronicle.app"_s);
}

void tst_Applications::matchesEveryNameOfAnApplication()
{
    m_desk->installed[u"/a"_s] = {{{u"Dateien"_s, u"Files"_s, u"org.gnome.Nautilus"_s}, u"/a/n"_s}};
    QCOMPARE(Executor::appURL(u"files"_s), u"/a/n"_s);
    QCOMPARE(Executor::appURL(u"DATEIEN"_s), u"/a/n"_s);
    QCOMPARE(Executor::appURL(u"nautilus"_s), u"/a/n"_s);
}

void tst_Applications::ignoresTheEncodingOfAccents()
{
    m_desk->installed[u"/a"_s] = {installed(u"/a"_s, u"Cafe\u0301"_s)};
    QCOMPARE(Executor::appURL(u"CAFÉ"_s), u"/a/Cafe\u0301.app"_s);
    m_desk->running = {running(5, u"E\u0301diteur"_s)};
    QCOMPARE(Executor::runningApp(u"éditeur"_s)->pid, ProcessId{5});
    QCOMPARE(Executor::runningApp(u"édit"_s)->pid, ProcessId{5});
}

void tst_Applications::usesTheLocationOfARunningApplication()
{
    m_desk->installed[u"/a"_s] = {installed(u"/a"_s, u"Notes"_s)};
    Application elsewhere = running(5, u"Notes Beta"_s);
    elsewhere.location = u"/elsewhere/Notes Beta.app"_s;
    m_desk->running = {elsewhere};
    QCOMPARE(Executor::appURL(u"notes"_s), u"/elsewhere/Notes Beta.app"_s);
}

void tst_Applications::aRunningApplicationWithoutALocationIsLookedUpInTheFolders()
{
    m_desk->installed[u"/a"_s] = {installed(u"/a"_s, u"Notes"_s)};
    m_desk->running = {running(5, u"Notes"_s)};
    QCOMPARE(Executor::appURL(u"notes"_s), u"/a/Notes.app"_s);
}

void tst_Applications::doesNotFindAMissingApplication()
{
    m_desk->installed[u"/a"_s] = {installed(u"/a"_s, u"Notes"_s)};
    QCOMPARE(Executor::appURL(u"Chess"_s), std::nullopt);
    QVERIFY(!Executor::runningApp(u"Chess"_s));
}

void tst_Applications::exactMatchesUseTheAliasAndPartialOnesTheGivenName()
{
    m_desk->running = {running(1, u"Chrome Canary"_s), running(2, u"Google Chrome"_s)};
    QCOMPARE(Executor::runningApp(u"chrome"_s)->pid, ProcessId{2});
    // "Visual Studio Code" is not running, and another name contains "code".
    m_desk->running = {running(1, u"Visual Studio Codex"_s), running(2, u"Xcode"_s)};
    QCOMPARE(Executor::runningApp(u"Code"_s)->pid, ProcessId{1});
    m_desk->running = {running(1, u"Google Chrome Beta"_s)};
    QCOMPARE(Executor::runningApp(u"chrome"_s)->pid, ProcessId{1});
    // The alias's target is not used for partial matches.
    m_desk->running = {running(1, u"System Settings Editor"_s)};
    QVERIFY(!Executor::runningApp(u"system preferences"_s));
}

void tst_Applications::onlyOrdinaryApplicationsCountAsRunning()
{
    m_desk->running = {running(1, u"Notes"_s, ActivationPolicy::background),
                       running(2, u"Notes"_s, ActivationPolicy::accessory)};
    QVERIFY(!Executor::runningApp(u"Notes"_s));
    m_desk->running.append(running(3, u"My Notes"_s));
    QCOMPARE(Executor::runningApp(u"Notes"_s)->pid, ProcessId{3});
}

void tst_Applications::aNamelessApplicationMatchesNothing()
{
    m_desk->running = {running(1, std::nullopt)};
    QVERIFY(!Executor::runningApp(u"Notes"_s));
}

void tst_Applications::prefersAnExactRunningName()
{
    m_desk->running = {running(1, u"Notes Plus"_s), running(2, u"Notes"_s)};
    QCOMPARE(Executor::runningApp(u"NOTES"_s)->pid, ProcessId{2});
}

void tst_Applications::anotherSystemsStockNameMeansThisDesktopsOwnApplication()
{
    m_desk->counterparts.insert(u"safari"_s, u"/b/Firefox.app"_s);
    m_desk->installed[u"/a"_s] = {installed(u"/a"_s, u"Safari Park"_s)};
    m_desk->installed[u"/b"_s] = {installed(u"/b"_s, u"Firefox"_s)};
    QCOMPARE(Executor::appURL(u"Safari"_s), u"/b/Firefox.app"_s);
    QVERIFY(!Executor::runningApp(u"Safari"_s));

    Application browser = running(3, u"Firefox"_s);
    browser.location = u"/b/Firefox.app"_s;
    m_desk->running = {running(2, u"Safari Park"_s), browser};
    QCOMPARE(Executor::runningApp(u"safari"_s)->pid, ProcessId{3});
}

void tst_Applications::anInstalledStockNameMeansItself()
{
    m_desk->counterparts.insert(u"terminal"_s, u"/b/XTerm.app"_s);
    m_desk->installed[u"/b"_s] = {installed(u"/b"_s, u"XTerm"_s),
                                  installed(u"/b"_s, u"Terminal"_s)};
    Application other = running(3, u"Console"_s);
    other.location = u"/b/XTerm.app"_s;
    m_desk->running = {other};
    QCOMPARE(Executor::appURL(u"Terminal"_s), u"/b/Terminal.app"_s);
    QVERIFY(!Executor::runningApp(u"Terminal"_s));
}

void tst_Applications::launchWaitsForTheApplicationAndReturnsItsName()
{
    m_desk->installed[u"/a"_s] = {installed(u"/a"_s, u"Google Chrome"_s)};
    QCOMPARE(outcome(u"open_app"_s, {{u"app"_s, u" chrome "_s}}),
             u"Google Chrome is now frontmost."_s);
    QCOMPARE(m_desk->launched, QStringList{u"/a/Google Chrome.app"_s});
    QCOMPARE(m_pauses->durations, QList<std::chrono::milliseconds>{700ms});
}

void tst_Applications::aFailedLaunchHasThePlatformsSentence()
{
    m_desk->installed[u"/a"_s] = {installed(u"/a"_s, u"Notes"_s)};
    m_desk->failure = u"The application “Notes” is damaged — é."_s;
    QCOMPARE(outcome(u"open_app"_s, {{u"app"_s, u"Notes"_s}}),
             u"PlatformError: The application “Notes” is damaged — é."_s);
    QVERIFY(m_pauses->durations.isEmpty());
}

void tst_Applications::launchingAMissingApplicationFails()
{
    QCOMPARE(outcome(u"open_app"_s, {{u"app"_s, u"Chess"_s}}),
             u"ActionError: Couldn't find an app called “Chess”."_s);
    // The error has the given name, not the alias's target.
    QCOMPARE(outcome(Executor::launch(u"chrome"_s)),
             u"ActionError: Couldn't find an app called “chrome”."_s);
    QVERIFY(m_pauses->durations.isEmpty());
}

void tst_Applications::quittingAnApplicationThatIsNotRunningSucceeds()
{
    QCOMPARE(outcome(u"quit_app"_s, {{u"app"_s, u" chrome"_s}}), u"chrome is not running."_s);
    QVERIFY(m_pauses->durations.isEmpty());
}

// The desktop's "Calculator" is installed but not running; another calculator is.
void tst_Applications::quittingAStockNameMeansTheRunningApplication()
{
    m_desk->counterparts.insert(u"calculator"_s, u"/b/KCalc.app"_s);
    m_desk->installed[u"/b"_s] = {installed(u"/b"_s, u"KCalc"_s),
                                  installed(u"/b"_s, u"Calculator"_s)};
    QCOMPARE(outcome(u"quit_app"_s, {{u"app"_s, u"Calculator"_s}}),
             u"Calculator is not running."_s);
    Application other = running(3, u"KCalc"_s);
    other.location = u"/b/KCalc.app"_s;
    Application unlike = running(4, u"Calc Notes"_s);
    unlike.location = u"/b/Notes.app"_s;
    m_desk->running = {unlike, other};
    QCOMPARE(outcome(u"quit_app"_s, {{u"app"_s, u"Calculator"_s}}), u"Calculator quit."_s);
    QCOMPARE(m_desk->terminated, QList<ProcessId>{ProcessId{3}});
}

void tst_Applications::quitRequestsWaitsAndChecks()
{
    m_desk->running = {running(4, u"Google Chrome"_s), running(5, u"Notes"_s)};
    QCOMPARE(outcome(u"quit_app"_s, {{u"app"_s, u"Chrome"_s}}), u"Chrome quit."_s);
    QCOMPARE(m_desk->terminated, QList<ProcessId>{ProcessId{4}});
    QCOMPARE(m_pauses->durations, QList<std::chrono::milliseconds>{600ms});
}

void tst_Applications::reportsAnApplicationThatDoesNotQuit()
{
    m_desk->running = {running(4, u"Notes"_s)};
    m_desk->unsaved = {ProcessId{4}};
    QCOMPARE(outcome(u"quit_app"_s, {{u"app"_s, u"notes"_s}}),
             u"Asked notes to quit (it may be waiting on a save prompt)."_s);
}

QTEST_GUILESS_MAIN(tst_Applications)
#include "tst_Applications.moc"
