// The program's report on a real desktop, and without a desktop.

#include "platform/linux/x11/LinuxHotKey.h"
#include "platform/linux/x11/X11Desktop.h"
#include "tests/app/DoctorSubjects.h"
#include "tests/support/Program.h"
#include "tests/support/VirtualDesktop.h"
#include "tests/support/Waiting.h"

#include <QTest>

using namespace Qt::StringLiterals;

namespace {
const QString program = u"" QUILLON_PROGRAM ""_s;
} // namespace

class tst_DoctorOnDesktop : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup() { m_desktop.reset(); }

    void aHealthyDesktopHasNoComplaints();
    void aDisabledAccessibilityBusIsBad();
    void aTakenHotKeyIsReported();
    void aRunningPanelHasTheKey();
    void aRunningPanelWithoutTheKeyIsMentioned();
    void aWaylandDesktopIsReported();
    void withoutAFileManagerFoldersCannotBeShown();
    void withoutADisplayItReportsThatAndEnds_data();
    void withoutADisplayItReportsThatAndEnds();

private:
    /// Runs the program without a network and stores the lines of its report by subject.
    void examine(const QMap<QString, QString> &changes = {});

    void startPanel();

    std::unique_ptr<VirtualDesktop> m_desktop;
    QMap<QString, QString> m_lines;
    int m_status = -1;
};

void tst_DoctorOnDesktop::init()
{
    m_desktop = std::make_unique<VirtualDesktop>();
    m_desktop->install(u"pcmanfm.desktop"_s, {u"inode/directory"_s});
}

void tst_DoctorOnDesktop::examine(const QMap<QString, QString> &changes)
{
    QMap<QString, QString> environment;
    const QProcessEnvironment current = QProcessEnvironment::systemEnvironment();
    for (const QString &name : current.keys())
        environment.insert(name, current.value(name));
    for (const auto &[name, value] : changes.asKeyValueRange()) {
        if (value.isNull())
            environment.remove(name);
        else
            environment.insert(name, value);
    }
    Program doctor(program, {u"--doctor"_s}, {.environment = environment, .hasNetwork = false});
    const std::optional<int> status = doctor.waitForExit();
    QVERIFY(status);
    m_status = *status;
    QCOMPARE(doctor.errors(), QString());

    m_lines.clear();
    QStringList found;
    for (const QString &line : doctor.output().split(u'\n', Qt::SkipEmptyParts)) {
        // A mark, a subject, a colon.
        found.append(line.section(u':', 0, 0).mid(2));
        m_lines.insert(found.last(), line);
    }
    QCOMPARE(found, doctorSubjects);
}

void tst_DoctorOnDesktop::aHealthyDesktopHasNoComplaints()
{
    m_desktop->enableAccessibility();
    examine();
    const QString display = qEnvironmentVariable("DISPLAY");
    QCOMPARE(m_lines[u"Display"_s], u"✓ Display: X11 (%1)."_s.arg(display));
    QCOMPARE(m_lines[u"Accessibility"_s],
             u"✓ Accessibility: the accessibility bus answers and is enabled."_s);
    QCOMPARE(m_lines[u"Hot key"_s], u"✓ Hot key: Alt+Space is free."_s);
    QVERIFY(m_lines[u"Models folder"_s].startsWith(u"✓ Models folder: /"));
    QVERIFY(m_lines[u"llama.cpp"_s].startsWith(u"✓ llama.cpp: "));
    QCOMPARE(m_lines[u"Screen capture"_s], u"✓ Screen capture: the X server shows the screen."_s);
    QVERIFY(m_lines[u"File manager"_s].startsWith(u"✓ File manager: "));
    QCOMPARE(m_status, 0);
}

void tst_DoctorOnDesktop::aDisabledAccessibilityBusIsBad()
{
    examine();
    QCOMPARE(m_lines[u"Accessibility"_s],
             u"✗ Accessibility: the accessibility bus does not answer or is not enabled. Click "
             "\"Grant Accessibility access\" in the panel. If that does not help, install "
             "at-spi2-core and log in again."_s);
    QCOMPARE(m_status, 1);
}

void tst_DoctorOnDesktop::aTakenHotKeyIsReported()
{
    m_desktop->enableAccessibility();
    LinuxHotKey other;
    other.registerKey([] {});
    QVERIFY(other.isOurs());
    examine();
    QCOMPARE(m_lines[u"Hot key"_s],
             u"! Hot key: Alt+Space belongs to another program. Take it away there (most often it "
             "is the window manager's menu), or bind another key to \"%1 --toggle\" in the "
             "desktop's settings."_s.arg(program));
    QCOMPARE(m_status, 0);
}

void tst_DoctorOnDesktop::startPanel()
{
    m_desktop->start(program, {});
    // It registers its key before it comes to the front.
    X11Desktop screen;
    const auto front = [&] {
        const std::optional<X11Snapshot> shown = screen.snapshot();
        return shown && shown->active ? shown->active->title.value_or(QString()) : QString();
    };
    QTRY_COMPARE(front(), u"Quillon"_s);
}

void tst_DoctorOnDesktop::aRunningPanelHasTheKey()
{
    m_desktop->enableAccessibility();
    startPanel();
    examine();
    QCOMPARE(m_lines[u"Hot key"_s], u"✓ Hot key: Alt+Space shows and hides the running Quillon."_s);
    QCOMPARE(m_status, 0);
}

void tst_DoctorOnDesktop::aRunningPanelWithoutTheKeyIsMentioned()
{
    m_desktop->enableAccessibility();
    LinuxHotKey other;
    other.registerKey([] {});
    startPanel();
    examine();
    QVERIFY(m_lines[u"Hot key"_s].startsWith(u"! Hot key: Alt+Space belongs to another program."));
    QCOMPARE(m_status, 0);
}

void tst_DoctorOnDesktop::aWaylandDesktopIsReported()
{
    m_desktop->enableAccessibility();
    examine({{u"WAYLAND_DISPLAY"_s, u"wayland-0"_s}});
    QVERIFY(m_lines[u"Display"_s].startsWith(u"! Display: X11 ("));
    QVERIFY(m_lines[u"Display"_s].contains(u") on a Wayland desktop. Only windows of X11 "));
    QCOMPARE(m_lines[u"Hot key"_s],
             u"! Hot key: Alt+Space works while an X11 application is in front. Bind a key to "
             "\"%1 --toggle\" in the desktop's settings."_s.arg(program));
    QCOMPARE(m_lines[u"Screen capture"_s],
             u"! Screen capture: no portal takes pictures of this Wayland desktop. Install "
             "xdg-desktop-portal and its part for your desktop."_s);
    QCOMPARE(m_status, 0);
}

void tst_DoctorOnDesktop::withoutAFileManagerFoldersCannotBeShown()
{
    m_desktop->enableAccessibility();
    m_desktop->uninstall(u"pcmanfm.desktop"_s);
    examine();
    QCOMPARE(m_lines[u"File manager"_s],
             u"! File manager: none. Folders cannot be shown: install a file manager."_s);
    QCOMPARE(m_status, 0);
}

void tst_DoctorOnDesktop::withoutADisplayItReportsThatAndEnds_data()
{
    QTest::addColumn<QString>("x11");
    QTest::addColumn<QString>("wayland");
    QTest::addColumn<QString>("line");

    QTest::newRow("none") << QString() << QString()
                          << u"✗ Display: none. Start Quillon inside a desktop session: DISPLAY "
                             "is not set."_s;
    QTest::newRow("one that is not there")
        << u":4242"_s << QString()
        << u"✗ Display: :4242 does not answer. Is that display running, and may this user use it?"_s;
    QTest::newRow("Wayland alone")
        << QString() << u"wayland-0"_s
        << u"✗ Display: Wayland without X11. Install Xwayland, or log in to a session on X11 "
           "(\"Xorg\")."_s;
}

void tst_DoctorOnDesktop::withoutADisplayItReportsThatAndEnds()
{
    QFETCH(const QString, x11);
    QFETCH(const QString, wayland);
    examine({{u"DISPLAY"_s, x11}, {u"WAYLAND_DISPLAY"_s, wayland}});
    QTEST(m_lines[u"Display"_s], "line");
    QCOMPARE(m_lines[u"Hot key"_s], u"– Hot key: not known without a display."_s);
    QCOMPARE(m_lines[u"Screen capture"_s], u"– Screen capture: not known without a display."_s);
    QCOMPARE(m_status, 1);
}

QTEST_GUILESS_MAIN(tst_DoctorOnDesktop)
#include "tst_DoctorOnDesktop.moc"
