#include "base/FlushToDisk.h"

#include <QTemporaryFile>
#include <QTest>

#include <array>
#include <cerrno>
#include <system_error>

#include <unistd.h>

class tst_FlushToDisk : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void acceptsAFile();
    void acceptsWhatCannotBeFlushed();
    void reportsAFailure();
};

void tst_FlushToDisk::acceptsAFile()
{
    QTemporaryFile file;
    QVERIFY(file.open());
    QCOMPARE(file.write("text"), 4);
    QVERIFY(file.flush());
    flushToDisk(file.handle());
}

// The system answers for a pipe as for a file on a file system without fsync.
void tst_FlushToDisk::acceptsWhatCannotBeFlushed()
{
    std::array<int, 2> ends{};
    QCOMPARE(::pipe(ends.data()), 0);
    flushToDisk(ends[1]);
    ::close(ends[0]);
    ::close(ends[1]);
}

void tst_FlushToDisk::reportsAFailure()
{
    int reason = 0;
    try {
        flushToDisk(-1);
    } catch (const std::system_error &error) {
        reason = error.code().value();
    }
    QCOMPARE(reason, EBADF);
}

QTEST_APPLESS_MAIN(tst_FlushToDisk)
#include "tst_FlushToDisk.moc"
