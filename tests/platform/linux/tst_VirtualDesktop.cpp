#include "tests/support/VirtualDesktop.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QTest>

#include <csignal>
#include <cstdio>

using namespace Qt::StringLiterals;

namespace {
// The processes whose environment names that folder, apart from those that only wait to be looked
// at.
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
    tst_VirtualDesktop test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_VirtualDesktop.moc"
