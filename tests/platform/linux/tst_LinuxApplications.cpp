#include "agent/Safety.h"
#include "executor/Executor.h"
#include "executor/Pause.h"
#include "platform/Platform.h"
#include "platform/linux/x11/X11Desktop.h"
#include "tests/executor/Running.h"
#include "tests/platform/linux/TestWindow.h"
#include "tests/support/Waiting.h"

#include <QCoro/QCoroFuture>
#include <QDir>
#include <QFile>
#include <QTest>

#include <csignal>
#include <sys/wait.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {
Workspace &workspace()
{
    return Platform::current().workspace();
}

QByteArray entry(const QByteArray &name, const QByteArray &exec, const QByteArray &more = {})
{
    return "[Desktop Entry]\nType=Application\nName=" + name + "\nExec=" + exec + '\n' + more;
}

const QString applications = u".local/share/applications/"_s;
} // namespace

class tst_LinuxApplications : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();

    void anAddressReachesTheDefaultBrowserOnceAndUnchanged_data();
    void anAddressReachesTheDefaultBrowserOnceAndUnchanged();
    void anAddressReachesTheNamedBrowser();
    void anApplicationThatTakesNoAddressesIsNotOpened();
    void schemesThatNothingHandlesAreTold();
    void filesOpenWithTheirTypesDefault();
    void aProgramThatIsGoneIsTold();
    void startedProgramsWriteNothingToUsAndAreNotInOurSession();

    void foldersStandTheUsersFirst();
    void entriesThatAreNotForThisDesktopDoNotCount();
    void applicationsHaveTheirTranslatedAndTheirPlainName();
    void stockNamesMeanThisDesktopsDefaults();
    void windowsFindTheirEntries_data();
    void windowsFindTheirEntries();

    void messengersAreCalledWhatTheyAreInFront_data();
    void messengersAreCalledWhatTheyAreInFront();
    void aStockNameMeansTheOneThatRuns();
    void anApplicationWithoutAnEntryIsBroughtForward();

    void launchingStartsWhatDoesNotRun();
    void whatStartsSlowlyIsWaitedFor();
    void whatIsStillStartingIsNotStartedAgain();
    void whatShowsNoWindowIsTold();
    void aWindowThatNamesNoEntryIsKnownByItsProgram();
    void aRunningApplicationShowsTheDocumentFirst();
    void launchingBringsForwardWhatRuns();
    void aWindowWithTheNumberOfOneThatHasGoneIsNew();
    void aWindowOnAnotherDesktopComesForward();
    void openingInARunningApplicationBringsItForward();
    void quittingEndsTheApplication();
    void anApplicationMayRefuseToQuit();
    void processesThatEndedHaveTerminated();

private:
    // The arguments of the calls of that program, one line per call.
    [[nodiscard]] QByteArray calls(const QString &program) const
    {
        QFile file(m_desktop->home(program + u".calls"_s));
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }

    // Installs an entry whose program records its arguments and shows a window.
    void install(const QString &id, const QByteArray &name, const QByteArray &more = {},
                 const QByteArray &parameters = " %u")
    {
        const QString body = uR"(calls="$HOME/%1.calls"
printf '%s|' "$@" >> "$calls.new"; echo >> "$calls.new"; cp "$calls.new" "$calls"
exec "%2" shown x.%3 unattended
)"_s.arg(id, u"" TEST_WINDOW ""_s, id.section(u'.', -1));
        const QString script = m_desktop->writeScript(u"bin/"_s + id, body.toUtf8());
        m_desktop->write(applications + id + u".desktop"_s,
                         entry(name, script.toUtf8() + parameters, more));
    }

    std::unique_ptr<VirtualDesktop> m_desktop;
    std::unique_ptr<SeenPauses> m_pauses;
};

void tst_LinuxApplications::initTestCase()
{
    m_desktop = std::make_unique<VirtualDesktop>();
    m_pauses = std::make_unique<SeenPauses>();
    install(u"browser"_s, "Surfer\nName[de]=Brandung",
            "MimeType=x-scheme-handler/https;x-scheme-handler/http;\nCategories=WebBrowser;\n");
    install(u"org.example.Other"_s, "Other Browser", "MimeType=x-scheme-handler/https;\n", " %U");
    install(u"viewer"_s, "Viewer", "MimeType=text/plain;application/pdf;\n", " %f");
    install(u"files"_s, "Files", "MimeType=inode/directory;\n", " %U");
    install(u"plain"_s, "Plain", {}, {});
    install(u"hidden"_s, "Hidden", "NoDisplay=true\n");
    install(u"removed"_s, "Removed", "Hidden=true\n");
    install(u"elsewhere"_s, "Elsewhere", "OnlyShowIn=Other;\n");
    install(u"here"_s, "Here", "OnlyShowIn=Test;\n");
    install(u"uninstalled"_s, "Uninstalled", "TryExec=/nowhere/at/all\n");
    m_desktop->write(applications + u"broken.desktop"_s, "no entry at all");
    m_desktop->write(applications + u"gone.desktop"_s,
                     entry("Gone", "/bin/true %u") + "MimeType=x-scheme-handler/gone;\n");
    install(u"console"_s, "Console", "Categories=System;TerminalEmulator;\n", {});
    m_desktop->write(applications + u"window.desktop"_s,
                     entry("Window Maker",
                           QByteArray(TEST_WINDOW) + " launched launched.Launched unattended %u",
                           "StartupWMClass=Launched\n"));
    m_desktop->write(applications + u"claims.desktop"_s,
                     entry("Claims", "/bin/true", "StartupWMClass=Claimed\n"));
    m_desktop->write(applications + u"Bears.desktop"_s, entry("Bears", "/bin/true"));
    m_desktop->write(applications + u"org.example.Segment.desktop"_s,
                     entry("Segment", "/bin/true"));
    m_desktop->write(u".config/mimeapps.list"_s,
                     "[Default Applications]\nx-scheme-handler/https=browser.desktop\n"
                     "x-scheme-handler/http=browser.desktop\ntext/plain=viewer.desktop\n"
                     "inode/directory=files.desktop\n");
}

void tst_LinuxApplications::init()
{
    for (const QString &file :
         QDir(m_desktop->home()).entryList({u"*.calls"_s, u"*.calls.new"_s}, QDir::Files))
        QFile::remove(m_desktop->home(file));
    for (const qint64 window : m_desktop->processes(u"/quillon-test-window"_s))
        ::kill(static_cast<pid_t>(window), SIGKILL);
    QTRY_COMPARE(Executor::windowSummary(), u"none"_s);
}

void tst_LinuxApplications::anAddressReachesTheDefaultBrowserOnceAndUnchanged_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("argument");
    QTest::addColumn<QByteArray>("call");
    QTest::newRow("host") << u"open_url"_s << u"example.com"_s << "https://example.com|\n"_ba;
    QTest::newRow("signs") << u"open_url"_s << u"http://example.com/a b?c='d';$e&f#g(h)"_s
                           << "http://example.com/a%20b?c='d';$e&f#g(h)|\n"_ba;
    QTest::newRow("query")
        << u"web_search"_s << u"a&b c+\"d\" `e` $(f) %u é"_s
        << "https://www.google.com/search?q=a&b%20c+%22d%22%20%60e%60%20$(f)%20%25u%20%C3%A9|\n"_ba;
}

void tst_LinuxApplications::anAddressReachesTheDefaultBrowserOnceAndUnchanged()
{
    QFETCH(const QString, name);
    QFETCH(const QString, argument);
    QFETCH(const QByteArray, call);
    const QString key = name == u"open_url" ? u"url"_s : u"query"_s;
    QVERIFY(outcome(name, {{key, argument}}).endsWith(u" in the default browser."_s));
    QTRY_COMPARE(calls(u"browser"_s), call);
    QCOMPARE(calls(u"org.example.Other"_s), QByteArray());
}

void tst_LinuxApplications::anAddressReachesTheNamedBrowser()
{
    QCOMPARE(outcome(u"open_url"_s, {{u"url"_s, u"example.com/x"_s}, {u"app"_s, u"other"_s}}),
             u"Opened example.com in Other Browser."_s);
    QTRY_COMPARE(calls(u"org.example.Other"_s), "https://example.com/x|\n"_ba);
    QCOMPARE(calls(u"browser"_s), QByteArray());
}

void tst_LinuxApplications::anApplicationThatTakesNoAddressesIsNotOpened()
{
    QCOMPARE(outcome(u"open_url"_s, {{u"url"_s, u"example.com"_s}, {u"app"_s, u"Plain"_s}}),
             u"PlatformError: “Plain” doesn't open addresses."_s);
    QCOMPARE(outcome(u"open_url"_s, {{u"url"_s, u"example.com"_s}, {u"app"_s, u"Viewer"_s}}),
             u"PlatformError: “Viewer” doesn't open addresses."_s);
    QCOMPARE(calls(u"plain"_s) + calls(u"viewer"_s) + calls(u"browser"_s), QByteArray());
}

void tst_LinuxApplications::schemesThatNothingHandlesAreTold()
{
    QCOMPARE(outcome(u"open_url"_s, {{u"url"_s, u"Gopher://example.com"_s}}),
             u"PlatformError: No application is set up to open “gopher” addresses."_s);
}

void tst_LinuxApplications::filesOpenWithTheirTypesDefault()
{
    m_desktop->write(u"a b #1%41.txt"_s, "text");
    QCOMPARE(outcome(u"open_path"_s, {{u"path"_s, u"a b #1%41.txt"_s}}),
             u"Opened a b #1%41.txt."_s);
    QTRY_COMPARE(calls(u"viewer"_s), m_desktop->home(u"a b #1%41.txt|\n"_s).toUtf8());
    QVERIFY(QDir(m_desktop->home()).mkpath(u"Downloads"_s));
    QCOMPARE(outcome(u"open_path"_s, {{u"path"_s, u"downloads"_s}}), u"Opened Downloads."_s);
    QTRY_COMPARE(calls(u"files"_s), m_desktop->home(u"Downloads|\n"_s).toUtf8());
    m_desktop->write(u"odd.webm"_s, "film");
    QCOMPARE(outcome(u"open_path"_s, {{u"path"_s, u"odd.webm"_s}}),
             u"PlatformError: No application is set up to open “odd.webm”."_s);
}

void tst_LinuxApplications::aProgramThatIsGoneIsTold()
{
    const QString script = m_desktop->writeScript(u"bin/vanishing"_s, "true\n");
    const QString location = m_desktop->home(applications + u"vanishing.desktop"_s);
    m_desktop->write(applications + u"vanishing.desktop"_s, entry("Vanishing", script.toUtf8()));
    QVERIFY(QFile::remove(script));
    const auto launched = [](const QString &where) -> QCoro::Task<QString> {
        co_await workspace().launch(where);
        co_return u"launched"_s;
    };
    QCOMPARE(outcome(launched(location)),
             u"PlatformError: The application at "_s + location + u" can't be started."_s);
}

void tst_LinuxApplications::startedProgramsWriteNothingToUsAndAreNotInOurSession()
{
    const QString script = m_desktop->writeScript(
        u"bin/chatty"_s,
        "out=$(readlink /proc/$$/fd/1); errors=$(readlink /proc/$$/fd/2)\n"
        "printf '%s\\n%s\\n%s\\n%s\\n' \"$out\" \"$errors\" \"$(ps -o sid= -p $$)\" \"$(pwd)\" "
        "> \"$HOME/new\"\n"
        "mv \"$HOME/new\" \"$HOME/chatty.calls\"\n"
        "exec " TEST_WINDOW " chatty x.chatty unattended\n");
    m_desktop->write(applications + u"chatty.desktop"_s, entry("Chatty", script.toUtf8()));
    // New entries are found with a delay.
    QTRY_VERIFY(Executor::appURL(u"Chatty"_s));
    QCOMPARE(outcome(u"open_app"_s, {{u"app"_s, u"Chatty"_s}}), u"Chatty is now frontmost."_s);
    QTRY_VERIFY(!calls(u"chatty"_s).isEmpty());
    const QByteArrayList lines = calls(u"chatty"_s).split('\n');
    QCOMPARE(lines.value(0), "/dev/null"_ba);
    QCOMPARE(lines.value(1), "/dev/null"_ba);
    QVERIFY(lines.value(2).trimmed().toLongLong() != getsid(0));
    QCOMPARE(lines.value(3), m_desktop->home().toUtf8());
}

void tst_LinuxApplications::foldersStandTheUsersFirst()
{
    QCOMPARE(workspace().applicationFolders().constFirst(),
             m_desktop->home(u".local/share/applications"_s));
    QCOMPARE(workspace().applicationFolders().size(), 2);
    QVERIFY(workspace().applicationsIn(u"/nowhere"_s).isEmpty());
}

void tst_LinuxApplications::entriesThatAreNotForThisDesktopDoNotCount()
{
    for (const char *name : {"Hidden", "Removed", "Elsewhere", "Uninstalled", "broken"})
        QVERIFY2(!Executor::appURL(QString::fromLatin1(name)), name);
    QVERIFY(Executor::appURL(u"Here"_s));
}

void tst_LinuxApplications::applicationsHaveTheirTranslatedAndTheirPlainName()
{
    const QString location = m_desktop->home(applications + u"browser.desktop"_s);
    QCOMPARE(Executor::appURL(u"surfer"_s), location);
    QCOMPARE(Executor::appURL(u"browser"_s), location);
    QCOMPARE(Executor::appURL(u"org.example.other"_s),
             m_desktop->home(applications + u"org.example.Other.desktop"_s));
    QCOMPARE(workspace().displayName(location), u"Surfer"_s);
    QCOMPARE(workspace().displayName(u"/nowhere/x.y.desktop"_s), u"x.y"_s);
}

void tst_LinuxApplications::stockNamesMeanThisDesktopsDefaults()
{
    QCOMPARE(Executor::appURL(u"Safari"_s), m_desktop->home(applications + u"browser.desktop"_s));
    QCOMPARE(Executor::appURL(u"Finder"_s), m_desktop->home(applications + u"files.desktop"_s));
    QCOMPARE(Executor::appURL(u"Terminal"_s), m_desktop->home(applications + u"console.desktop"_s));
    QCOMPARE(Executor::appURL(u"TextEdit"_s), m_desktop->home(applications + u"viewer.desktop"_s));
    QCOMPARE(Executor::appURL(u"Chess"_s), std::nullopt);
}

void tst_LinuxApplications::windowsFindTheirEntries_data()
{
    QTest::addColumn<QString>("windowClass");
    QTest::addColumn<QString>("name");
    QTest::newRow("claimed class") << u"x.Claimed"_s << u"Claims"_s;
    QTest::newRow("claimed instance") << u"Claimed.X"_s << u"Claims"_s;
    QTest::newRow("entry's name") << u"x.bears"_s << u"Bears"_s;
    QTest::newRow("last segment") << u"x.segment"_s << u"Segment"_s;
    // The entry of the test window's program is the last choice, and only if the class is named
    // after it.
    QTest::newRow("program") << u"x.quillon-test-window"_s << u"Window Maker"_s;
    // The instance name is only the name of the program's file.
    QTest::newRow("another class") << u"segment.X"_s << u"X"_s;
}

void tst_LinuxApplications::windowsFindTheirEntries()
{
    QFETCH(const QString, windowClass);
    QFETCH(const QString, name);
    TestWindow window(*m_desktop, u"t"_s, windowClass);
    QTRY_COMPARE(workspace().frontmostApplication().value_or(Application()).name, name);
    window.end();
    QTRY_VERIFY(!workspace().frontmostApplication());
}

void tst_LinuxApplications::messengersAreCalledWhatTheyAreInFront_data()
{
    QTest::addColumn<QByteArray>("name");
    QTest::addColumn<QByteArray>("categories");
    QTest::addColumn<QString>("nameInFront");
    QTest::addColumn<bool>("asks");
    const auto row = [](const char *name, const char *categories, const char *inFront, bool asks) {
        QTest::newRow(name) << QByteArray(name) << QByteArray(categories)
                            << QString::fromLatin1(inFront) << asks;
    };
    row("Thunderbird", "Network;Email;", "Thunderbird (Mail)", true);
    row("Evolution", "GNOME;Office;Email;Calendar;", "Evolution (Mail)", true);
    row("Element", "Network;InstantMessaging;Chat;", "Element (Messages)", true);
    row("Pidgin", "Network;Chat;", "Pidgin (Messages)", true);
    row("HexChat", "Network;IRCClient;", "HexChat (Messages)", true);
    row("Claws Mail", "Network;Email;", "Claws Mail", true);
    row("Chatty Cat", "Game;", "Chatty Cat", false);
}

void tst_LinuxApplications::messengersAreCalledWhatTheyAreInFront()
{
    QFETCH(const QByteArray, name);
    QFETCH(const QByteArray, categories);
    QFETCH(const QString, nameInFront);
    QFETCH(const bool, asks);

    const QString plain = QString::fromLatin1(name);
    const QString location = m_desktop->home(applications + u"messenger.desktop"_s);
    m_desktop->write(applications + u"messenger.desktop"_s,
                     entry(name, "/bin/true", "StartupWMClass=Talker\nCategories=" + categories));
    QTRY_COMPARE(Executor::appURL(plain), location);
    TestWindow window(*m_desktop, u"t"_s, u"talker.Talker"_s);
    QTRY_COMPARE(workspace().frontmostApplication().value_or(Application()).name, nameInFront);

    AgentAction action;
    action.name = u"press_key"_s;
    action.args = {{u"key"_s, u"return"_s}};
    QCOMPARE(Safety::assess(action, Executor::frontFor(action)) != Risk::safe(), asks);
    QCOMPARE(Executor::windowSummary(), plain + u" — t"_s);
    for (const QString &each : {plain, nameInFront, nameInFront.toUpper()}) {
        QCOMPARE(Executor::runningApp(each).value_or(Application()).pid, window.pid());
        QCOMPARE(Executor::appURL(each), location);
        QCOMPARE(outcome(u"focus_app"_s, {{u"app"_s, each}}), plain + u" is now frontmost."_s);
    }
    window.end();
    QVERIFY(QFile::remove(location));
    QTRY_VERIFY(!Executor::appURL(plain));
}

void tst_LinuxApplications::aStockNameMeansTheOneThatRuns()
{
    install(u"abacus"_s, "Abacus", "Categories=Calculator;\n");
    install(u"slide-rule"_s, "Slide Rule", "Categories=Calculator;\n");
    QTRY_COMPARE(Executor::appURL(u"Calculator"_s),
                 m_desktop->home(applications + u"abacus.desktop"_s));
    TestWindow window(*m_desktop, u"t"_s, u"x.slide-rule"_s);
    QTRY_COMPARE(Executor::runningApp(u"Calculator"_s).value_or(Application()).pid, window.pid());
    QCOMPARE(outcome(u"focus_app"_s, {{u"app"_s, u"Calculator"_s}}),
             u"Slide Rule is now frontmost."_s);
    window.end();
    QTRY_COMPARE(Executor::appURL(u"Calculator"_s),
                 m_desktop->home(applications + u"abacus.desktop"_s));
}

void tst_LinuxApplications::anApplicationWithoutAnEntryIsBroughtForward()
{
    const QString shared = m_desktop->home(applications + u"window.desktop"_s);
    m_desktop->write(u"window.desktop"_s, m_desktop->read(applications + u"window.desktop"_s));
    QVERIFY(QFile::remove(shared)); // all windows here have its program
    QTRY_VERIFY(!Executor::appURL(u"Window Maker"_s));
    TestWindow window(*m_desktop, u"a"_s, u"sun-awt-X11.com.example.Ledger"_s);
    TestWindow other(*m_desktop, u"b"_s, u"x.Bears"_s);
    const QString name = u"com.example.Ledger"_s;
    QTRY_COMPARE(Executor::observe(),
                 u"Frontmost app: Bears. Windows: Bears — b; com.example.Ledger — a"_s);
    QCOMPARE(outcome(u"focus_app"_s, {{u"app"_s, u"Ledger"_s}}), name + u" is now frontmost."_s);
    QTRY_COMPARE(
        Executor::observe(),
        u"Frontmost app: com.example.Ledger. Windows: com.example.Ledger — a; Bears — b"_s);
    QCOMPARE(outcome(u"open_url"_s, {{u"url"_s, u"example.com"_s}, {u"app"_s, name}}),
             u"PlatformError: “com.example.Ledger” doesn't open addresses."_s);
    other.end();
    window.end();
    QTRY_VERIFY(!workspace().frontmostApplication());
    QVERIFY(QFile::rename(m_desktop->home(u"window.desktop"_s), shared));
    QTRY_VERIFY(Executor::appURL(u"Window Maker"_s));
}

void tst_LinuxApplications::launchingStartsWhatDoesNotRun()
{
    QCOMPARE(outcome(u"open_app"_s, {{u"app"_s, u"window maker"_s}}),
             u"Window Maker is now frontmost."_s);
    QTRY_COMPARE(Executor::windowSummary(), u"Window Maker — launched"_s);
    QCOMPARE(workspace().runningApplications().size(), 1);
    const ProcessId pid = workspace().runningApplications().constFirst().pid;
    QVERIFY(!workspace().hasTerminated(pid));
    QVERIFY(outcome(u"quit_app"_s, {{u"app"_s, u"Window Maker"_s}}).contains(u"Window Maker"_s));
    QTRY_VERIFY(workspace().hasTerminated(pid));
    QTRY_COMPARE(Executor::windowSummary(), u"none"_s);
}

void tst_LinuxApplications::whatStartsSlowlyIsWaitedFor()
{
    const QString script = m_desktop->writeScript(u"bin/slow"_s, "sleep 1.5; exec " TEST_WINDOW
                                                                 " slow x.Slow unattended\n");
    m_desktop->write(applications + u"slow.desktop"_s, entry("Slow", script.toUtf8()));
    QTRY_VERIFY(Executor::appURL(u"Slow"_s));
    const TestWindow note(*m_desktop, u"note"_s, u"x.Bears"_s);
    QCOMPARE(outcome(u"open_app"_s, {{u"app"_s, u"Slow"_s}}), u"Slow is now frontmost."_s);
    // At once, because the next keys must not go to the note.
    QCOMPARE(Executor::observe(), u"Frontmost app: Slow. Windows: Slow — slow; Bears — note"_s);
}

void tst_LinuxApplications::whatIsStillStartingIsNotStartedAgain()
{
    const QString script = m_desktop->writeScript(
        u"bin/single"_s, "echo started >> \"$HOME/single.calls\"; sleep 1; exec " TEST_WINDOW
                         " single x.Single unattended\n");
    m_desktop->write(applications + u"single.desktop"_s, entry("Single", script.toUtf8()));
    QTRY_VERIFY(Executor::appURL(u"Single"_s));
    const QString location = Executor::appURL(u"Single"_s).value_or(QString());
    const QFuture<void> first = workspace().launch(location);
    QTRY_COMPARE(calls(u"single"_s), "started\n"_ba);
    QCOMPARE(outcome(u"open_app"_s, {{u"app"_s, u"Single"_s}}), u"Single is now frontmost."_s);
    QTRY_VERIFY(first.isFinished());
    QCOMPARE(Executor::windowSummary(), u"Single — single"_s);
    QCOMPARE(calls(u"single"_s), "started\n"_ba);
}

void tst_LinuxApplications::whatShowsNoWindowIsTold()
{
    const QString script = m_desktop->writeScript(u"bin/nothing"_s, "true\n");
    m_desktop->write(applications + u"nothing.desktop"_s, entry("Nothing", script.toUtf8()));
    QTRY_VERIFY(Executor::appURL(u"Nothing"_s));
    const TestWindow note(*m_desktop, u"note"_s, u"x.Bears"_s);
    QCOMPARE(outcome(u"open_app"_s, {{u"app"_s, u"Nothing"_s}}),
             u"PlatformError: “Nothing” hasn't shown a window yet. It may still be starting."_s);
}

void tst_LinuxApplications::aWindowThatNamesNoEntryIsKnownByItsProgram()
{
    // Like a program of a virtual machine: neither the class nor the executable identifies it.
    const QString script = m_desktop->writeScript(u"bin/virtual"_s, TEST_WINDOW
                                                  " inner x.Bears unattended & exec sleep 1000\n");
    m_desktop->write(applications + u"virtual.desktop"_s, entry("Virtual", script.toUtf8()));
    QTRY_VERIFY(Executor::appURL(u"Virtual"_s));
    QCOMPARE(outcome(u"open_app"_s, {{u"app"_s, u"Virtual"_s}}), u"Virtual is now frontmost."_s);
    const TestWindow other(*m_desktop, u"note"_s, u"x.Claimed"_s);
    QTRY_COMPARE(Executor::windowSummary(), u"Claims — note; Bears — inner"_s);
    QCOMPARE(outcome(u"open_app"_s, {{u"app"_s, u"Virtual"_s}}), u"Virtual is now frontmost."_s);
    QCOMPARE(Executor::windowSummary(), u"Bears — inner; Claims — note"_s);
    for (const qint64 process : m_desktop->processes(u"/sleep"_s))
        ::kill(static_cast<pid_t>(process), SIGKILL);
}

void tst_LinuxApplications::aRunningApplicationShowsTheDocumentFirst()
{
    // A window of the application is in front, but not yet the one with the document.
    const QString script = m_desktop->writeScript(
        u"bin/reader"_s, "sleep 0.7; exec " TEST_WINDOW " document x.Reader unattended\n");
    m_desktop->write(applications + u"reader.desktop"_s, entry("Reader", script.toUtf8() + " %u"));
    QTRY_VERIFY(Executor::appURL(u"Reader"_s));
    const TestWindow old(*m_desktop, u"old"_s, u"x.Reader"_s);
    QTRY_COMPARE(Executor::windowSummary(), u"Reader — old"_s);
    QCOMPARE(outcome(u"open_url"_s, {{u"url"_s, u"example.com"_s}, {u"app"_s, u"reader"_s}}),
             u"Opened example.com in Reader."_s);
    QCOMPARE(Executor::windowSummary(), u"Reader — document; Reader — old"_s);
}

void tst_LinuxApplications::aWindowWithTheNumberOfOneThatHasGoneIsNew()
{
    // A new window with a document drops the keys that come at once, so it gets a moment: the one
    // that it takes here to write the file.
    const QString script =
        m_desktop->writeScript(u"bin/again"_s, "kill -9 $(cat \"$HOME/old\"); sleep 0.3\n"
                                               "(sleep 0.5; touch \"$HOME/settled\") &\n"
                                               "exec " TEST_WINDOW " new x.Again unattended\n");
    m_desktop->write(applications + u"again.desktop"_s, entry("Again", script.toUtf8() + " %u"));
    QTRY_VERIFY(Executor::appURL(u"Again"_s));
    const TestWindow old(*m_desktop, u"old"_s, u"x.Again"_s);
    QTRY_COMPARE(Executor::windowSummary(), u"Again — old"_s);
    m_desktop->write(u"old"_s, QByteArray::number(static_cast<qint64>(old.pid())));
    const auto numberInFront = [] {
        const auto snapshot = X11Desktop().snapshot();
        return snapshot && snapshot->active ? snapshot->active->id : X11WindowId{};
    };
    // It is listed before it is active.
    QTRY_VERIFY(numberInFront() != X11WindowId{});
    const X11WindowId number = numberInFront();
    QCOMPARE(outcome(u"open_url"_s, {{u"url"_s, u"example.com"_s}, {u"app"_s, u"again"_s}}),
             u"Opened example.com in Again."_s);
    QVERIFY(QFile::exists(m_desktop->home(u"settled"_s)));
    QCOMPARE(Executor::windowSummary(), u"Again — new"_s);
    QCOMPARE(numberInFront(), number);
}

void tst_LinuxApplications::aWindowOnAnotherDesktopComesForward()
{
    const TestWindow away(*m_desktop, u"away"_s, u"x.Claimed"_s, {u"elsewhere"_s});
    const TestWindow here(*m_desktop, u"here"_s, u"x.Bears"_s);
    QTRY_COMPARE(Executor::observe(), u"Frontmost app: Bears. Windows: Bears — here"_s);
    QCOMPARE(outcome(u"focus_app"_s, {{u"app"_s, u"Claims"_s}}), u"Claims is now frontmost."_s);
    QCOMPARE(Executor::observe(), u"Frontmost app: Claims. Windows: Claims — away"_s);
    QCOMPARE(outcome(u"focus_app"_s, {{u"app"_s, u"Bears"_s}}), u"Bears is now frontmost."_s);
    QCOMPARE(Executor::observe(), u"Frontmost app: Bears. Windows: Bears — here"_s);
}

void tst_LinuxApplications::launchingBringsForwardWhatRuns()
{
    TestWindow window(*m_desktop, u"a"_s, u"x.Claimed"_s);
    TestWindow other(*m_desktop, u"b"_s, u"x.Bears"_s);
    QTRY_COMPARE(Executor::observe(), u"Frontmost app: Bears. Windows: Bears — b; Claims — a"_s);
    QCOMPARE(outcome(u"focus_app"_s, {{u"app"_s, u"claims"_s}}), u"Claims is now frontmost."_s);
    QTRY_COMPARE(Executor::observe(), u"Frontmost app: Claims. Windows: Claims — a; Bears — b"_s);
    other.iconify();
    QTRY_COMPARE(Executor::observe(), u"Frontmost app: Claims. Windows: Claims — a"_s);
    QCOMPARE(outcome(u"focus_app"_s, {{u"app"_s, u"bears"_s}}), u"Bears is now frontmost."_s);
    QTRY_COMPARE(Executor::observe(), u"Frontmost app: Bears. Windows: Bears — b; Claims — a"_s);
    other.end();
    window.end();
}

void tst_LinuxApplications::openingInARunningApplicationBringsItForward()
{
    const QString script =
        m_desktop->writeScript(u"bin/tabs"_s, "echo \"$1\" > \"$HOME/tabs.calls\"\n");
    m_desktop->write(applications + u"tabs.desktop"_s,
                     entry("Tabs", script.toUtf8() + " %u", "StartupWMClass=Tabs\n"));
    QTRY_VERIFY(Executor::appURL(u"Tabs"_s));
    TestWindow browser(*m_desktop, u"a"_s, u"tabs.Tabs"_s);
    TestWindow other(*m_desktop, u"b"_s, u"x.Bears"_s);
    QTRY_COMPARE(Executor::observe(), u"Frontmost app: Bears. Windows: Bears — b; Tabs — a"_s);
    QCOMPARE(outcome(u"open_url"_s, {{u"url"_s, u"example.com"_s}, {u"app"_s, u"tabs"_s}}),
             u"Opened example.com in Tabs."_s);
    QCOMPARE(Executor::windowSummary(), u"Tabs — a; Bears — b"_s);
    QTRY_COMPARE(calls(u"tabs"_s), "https://example.com\n"_ba);
    other.end();
    browser.end();
}

void tst_LinuxApplications::quittingEndsTheApplication()
{
    const TestWindow window(*m_desktop, u"a"_s, u"x.Claimed"_s);
    TestWindow bystander(*m_desktop, u"b"_s, u"x.Bears"_s);
    QTRY_COMPARE(Executor::windowSummary(), u"Bears — b; Claims — a"_s);
    // Uses the real pause, in which the application quits.
    m_pauses.reset();
    QCOMPARE(outcome(u"quit_app"_s, {{u"app"_s, u"Claims"_s}}), u"Claims quit."_s);
    m_pauses = std::make_unique<SeenPauses>();
    QTRY_COMPARE(Executor::windowSummary(), u"Bears — b"_s);
    bystander.end();
}

void tst_LinuxApplications::anApplicationMayRefuseToQuit()
{
    TestWindow window(*m_desktop, u"a"_s, u"x.Claimed"_s, {u"stubborn"_s});
    QTRY_COMPARE(Executor::windowSummary(), u"Claims — a"_s);
    QCOMPARE(outcome(u"quit_app"_s, {{u"app"_s, u"Claims"_s}}),
             u"Asked Claims to quit (it may be waiting on a save prompt)."_s);
    window.expect("asked to close");
    QVERIFY(window.isThere());
    window.end();
    QTRY_COMPARE(Executor::windowSummary(), u"none"_s);
    QCOMPARE(outcome(u"quit_app"_s, {{u"app"_s, u"Claims"_s}}), u"Claims is not running."_s);
}

void tst_LinuxApplications::processesThatEndedHaveTerminated()
{
    QVERIFY(!workspace().hasTerminated(ProcessId{QCoreApplication::applicationPid()}));
    QVERIFY(workspace().hasTerminated(ProcessId{0x7fffffff}));
    // A zombie.
    const pid_t child = fork();
    if (child == 0)
        _exit(0);
    QTRY_VERIFY(workspace().hasTerminated(ProcessId{child}));
    QCOMPARE(waitpid(child, nullptr, 0), child);
}

QTEST_GUILESS_MAIN(tst_LinuxApplications)
#include "tst_LinuxApplications.moc"
