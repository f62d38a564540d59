#include "tests/support/VirtualDesktop.h"
#include "tests/support/Waiting.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <csignal>
#include <cstdio>

using namespace Qt::StringLiterals;

namespace {
// The processes whose environment contains the folder, without zombies.
QStringList processesOf(const QString &folder)
{
    QStringList found;
    for (const QString &process : QDir(u"/proc"_s).entryList(QDir::Dirs)) {
        QFile environment(u"/proc/"_s + process + u"/environ"_s);
        QFile command(u"/proc/"_s + process + u"/cmdline"_s);
        if (environment.open(QIODevice::ReadOnly) && command.open(QIODevice::ReadOnly) &&
            environment.readAll().contains(folder.toUtf8()))
            found.append(QString::fromUtf8(command.readAll().replace('\0', ' ')));
    }
    return found;
}
} // namespace

class tst_VirtualDesktop : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void nothingIsLeftOfOne();
    void nothingRunsAfterACrash();
    void severalStandSideBySide();
    void itHasTheWindowManagerThatIsAskedFor_data();
    void itHasTheWindowManagerThatIsAskedFor();
    void withoutAServerTheTestFails();
};

void tst_VirtualDesktop::nothingIsLeftOfOne()
{
    QString folder;
    {
        VirtualDesktop desktop;
        desktop.start(u"sleep"_s, {u"1000"_s});
        desktop.enableAccessibility();
        folder = desktop.home();
        // The server, the bus, the window manager, the program, the accessibility bus.
        QVERIFY2(processesOf(folder).size() >= 6, qPrintable(processesOf(folder).join(u'\n')));
    }
    QTRY_COMPARE(processesOf(folder), QStringList());
    QVERIFY(!QDir(folder).exists());
}

void tst_VirtualDesktop::nothingRunsAfterACrash()
{
    QProcess crashing;
    crashing.start(QCoreApplication::applicationFilePath(), {u"crash"_s});
    QVERIFY(crashing.waitForFinished());
    QCOMPARE(crashing.exitStatus(), QProcess::CrashExit);
    const QString folder = QString::fromUtf8(crashing.readAll().trimmed());
    QVERIFY(QDir(folder).exists());
    QTRY_COMPARE(processesOf(folder), QStringList());
    QDir(folder + u"/.."_s).removeRecursively();
}

void tst_VirtualDesktop::severalStandSideBySide()
{
    const VirtualDesktop desktop;
    QProcess other;
    other.start(QCoreApplication::applicationFilePath(), {u"stay"_s});
    QTRY_VERIFY(other.canReadLine());
    const QString folder = QString::fromUtf8(other.readLine().trimmed());
    QVERIFY(folder != desktop.home());
    QVERIFY(!processesOf(folder).isEmpty());
    QVERIFY(!processesOf(desktop.home()).isEmpty());
    other.closeWriteChannel();
    QVERIFY(other.waitForFinished());
    QCOMPARE(other.exitCode(), 0);
    QTRY_COMPARE(processesOf(folder), QStringList());
    QVERIFY(!processesOf(desktop.home()).isEmpty());
}

void tst_VirtualDesktop::itHasTheWindowManagerThatIsAskedFor_data()
{
    QTest::addColumn<QStringList>("windowManager");

    QTest::newRow("openbox") << VirtualDesktop::Options().windowManager;
    QTest::newRow("Xfce's") << QStringList{u"xfwm4"_s};
    QTest::newRow("MATE's") << QStringList{u"marco"_s};
    QTest::newRow("KDE's") << QStringList{u"kwin_x11"_s};
    QTest::newRow("one that tiles") << QStringList{u"i3"_s};
}

void tst_VirtualDesktop::itHasTheWindowManagerThatIsAskedFor()
{
    QFETCH(const QStringList, windowManager);
    const VirtualDesktop desktop(
        {.screen = u"1280x800x24"_s, .windowManager = windowManager, .scale = 2});
    QCOMPARE(desktop.processes(u'/' + windowManager.first()).size(), 1);
    QProcess resources;
    resources.start(u"xrdb"_s, {u"-query"_s});
    QVERIFY(resources.waitForFinished());
    QVERIFY(resources.readAll().contains("Xft.dpi:\t192\n"));
}

void tst_VirtualDesktop::withoutAServerTheTestFails()
{
    const QTemporaryDir folder;
    QProcess failing;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(u"PATH"_s, folder.path());
    environment.insert(u"TMPDIR"_s, folder.path());
    failing.setProcessEnvironment(environment);
    failing.start(QCoreApplication::applicationFilePath(), {u"stay"_s});
    QVERIFY(failing.waitForFinished());
    QCOMPARE(failing.exitStatus(), QProcess::CrashExit);
    const QByteArray told = failing.readAllStandardError();
    QVERIFY2(told.contains("Xvfb is not installed."), told);
    QCOMPARE(processesOf(folder.path()), QStringList());
}

int main(int argc, char **argv)
{
    const QCoreApplication application(argc, argv);
    if (argc == 2 && qstrcmp(argv[1], "crash") == 0) {
        VirtualDesktop desktop;
        desktop.enableAccessibility();
        desktop.start(u"sleep"_s, {u"1000"_s});
        std::puts(qPrintable(desktop.home()));
        std::fflush(stdout);
        raise(SIGKILL);
    }
    if (argc == 2 && qstrcmp(argv[1], "stay") == 0) {
        const VirtualDesktop desktop;
        std::puts(qPrintable(desktop.home()));
        std::fflush(stdout);
        (void)std::getchar(); // until the test has ended
        return 0;
    }
    tst_VirtualDesktop test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_VirtualDesktop.moc"
