#include "platform/linux/desktop/LinuxProcesses.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <array>

#include <sys/stat.h>

using namespace Qt::StringLiterals;

namespace {
/// A fake process table.
class Table
{
public:
    void add(int process, int parent, const QString &program, const QByteArray &sandbox = {}) const
    {
        const QString folder = path() + u'/' + QString::number(process);
        QDir().mkpath(folder + u"/root"_s);
        write(folder + u"/stat"_s,
              QByteArray::number(process) + " (a) (b) S " + QByteArray::number(parent) + " 0 0\n");
        if (!program.isEmpty())
            QFile::link(program, folder + u"/exe"_s);
        if (!sandbox.isEmpty())
            write(folder + u"/root/.flatpak-info"_s, sandbox);
    }

    [[nodiscard]] QString path() const { return m_folder.path(); }

    [[nodiscard]] bool isSameApplication(int one, int other) const
    {
        const LinuxProcesses processes(path());
        return processes.areSameApplication(ProcessId{one}, ProcessId{other}) &&
               processes.areSameApplication(ProcessId{other}, ProcessId{one});
    }

private:
    static void write(const QString &path, const QByteArray &content)
    {
        QFile file(path);
        if (!file.open(QIODevice::WriteOnly) || file.write(content) != content.size())
            qFatal("The table cannot be written.");
    }

    QTemporaryDir m_folder;
};
} // namespace

class tst_LinuxProcesses : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void helpersOfTheSameProgramBelongTogether();
    void whatAnApplicationStartsDoesNotBelongToIt();
    void twoStartsOfAProgramAreTwoApplications();
    void processesOfASandboxBelongTogether();
    void aSandboxThatIsNoFileIsNone();
    void processesThatAreGoneBelongToNobody();
    void aCircleOfParentsEnds();
};

void tst_LinuxProcesses::helpersOfTheSameProgramBelongTogether()
{
    const Table table;
    table.add(10, 1, u"/usr/bin/browser"_s);
    table.add(11, 10, u"/usr/bin/browser"_s);
    table.add(12, 11, u"/usr/bin/browser"_s);
    QVERIFY(table.isSameApplication(10, 11));
    QVERIFY(table.isSameApplication(10, 12));
}

void tst_LinuxProcesses::whatAnApplicationStartsDoesNotBelongToIt()
{
    const Table table;
    table.add(10, 1, u"/usr/bin/terminal"_s);
    table.add(11, 10, u"/usr/bin/editor"_s);
    QVERIFY(!table.isSameApplication(10, 11));
}

void tst_LinuxProcesses::twoStartsOfAProgramAreTwoApplications()
{
    const Table table;
    table.add(5, 1, u"/usr/bin/shell"_s);
    table.add(10, 5, u"/usr/bin/editor"_s);
    table.add(11, 5, u"/usr/bin/editor"_s);
    QVERIFY(!table.isSameApplication(10, 11));
}

void tst_LinuxProcesses::processesOfASandboxBelongTogether()
{
    const Table table;
    const QByteArray info = "[Application]\nname=org.example.App\n\n[Instance]\ninstance-id=";
    table.add(10, 1, u"/app/bin/app"_s, info + "77\n");
    table.add(11, 1, u"/usr/bin/xdg-dbus-proxy"_s, info + "77\n");
    table.add(12, 1, u"/usr/bin/xdg-dbus-proxy"_s, info + "78\n");
    table.add(13, 1, u"/usr/bin/xdg-dbus-proxy"_s);
    QVERIFY(table.isSameApplication(10, 11));
    QVERIFY(!table.isSameApplication(10, 12));
    QVERIFY(!table.isSameApplication(10, 13));
}

// A process controls the files in its own root folder.
void tst_LinuxProcesses::aSandboxThatIsNoFileIsNone()
{
    const Table table;
    table.add(10, 1, u"/usr/bin/a"_s);
    table.add(11, 1, u"/usr/bin/b"_s);
    table.add(12, 1, u"/usr/bin/c"_s);
    const auto info = [&table](int process) {
        return table.path() + u'/' + QString::number(process) + u"/root/.flatpak-info"_s;
    };
    QCOMPARE(::mkfifo(QFile::encodeName(info(10)).constData(), 0600), 0);
    QVERIFY(QFile::link(u"/dev/zero"_s, info(11)));
    QVERIFY(QDir().mkpath(info(12)));
    QVERIFY(!table.isSameApplication(10, 11));
    QVERIFY(!table.isSameApplication(11, 12));

    // A pipe is not read, whatever it holds.
    table.add(13, 1, u"/usr/bin/d"_s);
    QCOMPARE(::mkfifo(QFile::encodeName(info(13)).constData(), 0600), 0);
    std::array<QFile, 2> ends{QFile(info(10)), QFile(info(13))};
    for (QFile &end : ends) {
        QVERIFY(end.open(QIODevice::ReadWrite | QIODevice::Unbuffered));
        QVERIFY(end.write("instance-id=1\n") > 0);
    }
    QVERIFY(!LinuxProcesses(table.path()).areSameApplication(ProcessId{10}, ProcessId{13}));
}

void tst_LinuxProcesses::processesThatAreGoneBelongToNobody()
{
    const Table table;
    table.add(10, 1, QString());
    QVERIFY(!table.isSameApplication(10, 11));
    QVERIFY(!table.isSameApplication(11, 12));
}

void tst_LinuxProcesses::aCircleOfParentsEnds()
{
    const Table table;
    table.add(10, 11, u"/usr/bin/a"_s);
    table.add(11, 10, u"/usr/bin/a"_s);
    table.add(12, 1, u"/usr/bin/a"_s);
    QVERIFY(!table.isSameApplication(10, 12));
}

QTEST_APPLESS_MAIN(tst_LinuxProcesses)
#include "tst_LinuxProcesses.moc"
