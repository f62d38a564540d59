#include "models/PartialFile.h"

#include "models/TransferError.h"
#include "tests/models/FileSizeLimit.h"
#include "tests/support/Files.h"

#include <QDir>
#include <QTemporaryDir>
#include <QTest>

#include <functional>

#include <sys/file.h>

using namespace Qt::StringLiterals;

namespace {
QString failure(const std::function<void()> &action)
{
    try {
        action();
    } catch (const TransferError &error) {
        return error.description();
    }
    return u"It did not fail."_s;
}
} // namespace

class tst_PartialFile : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { m_folder.emplace(); }

    void isInvisibleUntilItIsMoved();
    void replacesWhatIsAtThePath_data();
    void replacesWhatIsAtThePath();
    void isRemovedUnlessItWasMoved();
    void failsWithTheSystemsMessageWithoutAFolder();
    void failsWithTheSystemsMessageIfTheDiskIsFull_data();
    void failsWithTheSystemsMessageIfTheDiskIsFull();
    void failsWithTheSystemsMessageIfItCannotBeMoved();

    void sweepsFilesOfEndedProcesses();
    void sweepsNoFileThatIsInUse();
    void sweepsNothingElse();

private:
    QString path(const QString &name) const { return m_folder->filePath(name); }
    QStringList names() const { return Files::names(m_folder->path()); }

    std::optional<QTemporaryDir> m_folder;
};

void tst_PartialFile::isInvisibleUntilItIsMoved()
{
    PartialFile file;
    file.open(m_folder->path());
    file.write("new", 3);
    file.flush();
    QVERIFY(names() != QStringList{u"model.gguf"_s});
    file.moveTo(path(u"model.gguf"_s));
    QCOMPARE(names(), QStringList{u"model.gguf"_s});
    QCOMPARE(Files::contents(path(u"model.gguf"_s)), QByteArray("new"));
}

void tst_PartialFile::replacesWhatIsAtThePath_data()
{
    QTest::addColumn<QString>("what");
    for (const char *what :
         {"file", "longer file", "folder", "link to a file", "broken link", "link to a folder"})
        QTest::newRow(what) << QString::fromLatin1(what);
}

void tst_PartialFile::replacesWhatIsAtThePath()
{
    QFETCH(const QString, what);
    const QTemporaryDir elsewhere;
    Files::write(elsewhere.filePath(u"kept"_s), "kept");
    const QString place = path(u"model.gguf"_s);
    if (what == u"file"_s) {
        Files::write(place, "old");
    } else if (what == u"longer file"_s) {
        Files::write(place, QByteArray(900, 'x'));
    } else if (what == u"folder"_s) {
        QVERIFY(QDir().mkpath(place + u"/sub/sub"_s));
        Files::write(place + u"/sub/file"_s, "old");
    } else if (what == u"link to a file"_s) {
        QVERIFY(QFile::link(elsewhere.filePath(u"kept"_s), place));
    } else if (what == u"broken link"_s) {
        QVERIFY(QFile::link(elsewhere.filePath(u"nothing"_s), place));
    } else {
        QVERIFY(QFile::link(elsewhere.path(), place));
    }
    PartialFile file;
    file.open(m_folder->path());
    file.write("new", 3);
    file.moveTo(place);
    QCOMPARE(names(), QStringList{u"model.gguf"_s});
    QVERIFY(!QFileInfo(place).isSymLink());
    QCOMPARE(Files::contents(place), QByteArray("new"));
    QCOMPARE(QDir(elsewhere.path()).entryList(QDir::Files), QStringList{u"kept"_s});
    QCOMPARE(Files::contents(elsewhere.filePath(u"kept"_s)), QByteArray("kept"));
}

void tst_PartialFile::isRemovedUnlessItWasMoved()
{
    {
        PartialFile file;
        file.open(m_folder->path());
        QCOMPARE(names().size(), 1);
    }
    QCOMPARE(names(), QStringList());
}

void tst_PartialFile::failsWithTheSystemsMessageWithoutAFolder()
{
    PartialFile file;
    QCOMPARE(failure([&] { file.open(path(u"missing"_s)); }), u"No such file or directory"_s);
}

void tst_PartialFile::failsWithTheSystemsMessageIfTheDiskIsFull_data()
{
    QTest::addColumn<int>("room");
    QTest::newRow("at once") << 0;
    QTest::newRow("in the middle") << 1'234;
    QTest::newRow("at the last byte") << 2'999;
}

void tst_PartialFile::failsWithTheSystemsMessageIfTheDiskIsFull()
{
    QFETCH(const int, room);
    PartialFile file;
    file.open(m_folder->path());
    const QByteArray bytes(3'000, 'x');
    const QString told = failure([&] {
        const FileSizeLimit limit(static_cast<rlim_t>(room));
        file.write(bytes.constData(), bytes.size());
    });
    QCOMPARE(told, u"File too large"_s);
}

void tst_PartialFile::failsWithTheSystemsMessageIfItCannotBeMoved()
{
    PartialFile file;
    file.open(m_folder->path());
    QCOMPARE(failure([&] { file.moveTo(path(QString(300, u'n'))); }), u"File name too long"_s);
}

void tst_PartialFile::sweepsFilesOfEndedProcesses()
{
    Files::write(path(u"3f2a.quillon-part"_s), "half a model");
    PartialFile::sweep(m_folder->path());
    QCOMPARE(names(), QStringList());
}

void tst_PartialFile::sweepsNoFileThatIsInUse()
{
    PartialFile file;
    file.open(m_folder->path());
    // Another process locks its file by a descriptor of its own, like this.
    QFile other(path(u"3f2a.quillon-part"_s));
    QVERIFY(other.open(QIODevice::WriteOnly));
    QCOMPARE(::flock(other.handle(), LOCK_EX | LOCK_NB), 0);
    PartialFile::sweep(m_folder->path());
    QCOMPARE(names().size(), 2);
}

void tst_PartialFile::sweepsNothingElse()
{
    const QTemporaryDir elsewhere;
    Files::write(elsewhere.filePath(u"kept"_s), "kept");
    Files::write(path(u"other.gguf"_s), "other");
    Files::write(path(u"browser.part"_s), "other");
    QVERIFY(QDir().mkpath(path(u"folder.quillon-part"_s)));
    QVERIFY(QFile::link(elsewhere.filePath(u"kept"_s), path(u"link.quillon-part"_s)));
    const QStringList before = names();
    PartialFile::sweep(m_folder->path());
    QCOMPARE(names(), before);
    QCOMPARE(Files::contents(elsewhere.filePath(u"kept"_s)), QByteArray("kept"));
}

QTEST_GUILESS_MAIN(tst_PartialFile)
#include "tst_PartialFile.moc"
