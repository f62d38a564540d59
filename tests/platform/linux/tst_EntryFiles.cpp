#include "platform/linux/desktop/EntryFiles.h"

#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <algorithm>

#include <sys/stat.h>

using namespace Qt::StringLiterals;

namespace fs = std::filesystem;

class tst_EntryFiles : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void idsTellTheFoldersThatFilesLieIn();
    void foldersThatLeadToThemselvesAreVisitedOnce();
    void linksToTheWholeDiskHaveAnEnd();
    void whatIsNearerComesFirst();
    void onlyRegularFilesOfModestSizeCount();
    void linksToFilesCount();
    void deepFoldersAreLeftOut();
    void aMissingFolderHasNoFiles();

private:
    void write(const fs::path &file, qint64 size = 10) const
    {
        fs::create_directories((m_folder / file).parent_path());
        QFile entry(QFile::decodeName((m_folder / file).c_str()));
        QVERIFY(entry.open(QIODevice::WriteOnly) && entry.resize(size));
    }

    [[nodiscard]] QStringList ids() const
    {
        QStringList result;
        for (const EntryFiles::File &each : EntryFiles::in(m_folder))
            result.append(each.id);
        result.sort();
        return result;
    }

    std::unique_ptr<QTemporaryDir> m_temporary;
    fs::path m_folder;
};

void tst_EntryFiles::init()
{
    m_temporary = std::make_unique<QTemporaryDir>();
    m_folder = m_temporary->path().toStdString();
}

void tst_EntryFiles::idsTellTheFoldersThatFilesLieIn()
{
    write("plain.desktop");
    write("kde/dolphin.desktop");
    write("wine/Programs/A B/c.desktop");
    write("mimeinfo.cache");
    QCOMPARE(ids(), QStringList({u"kde-dolphin"_s, u"plain"_s, u"wine-Programs-A B-c"_s}));
}

void tst_EntryFiles::foldersThatLeadToThemselvesAreVisitedOnce()
{
    write("a.desktop");
    write("sub/b.desktop");
    // Links double the number of paths with each level.
    for (const char *const link : {"one", "two", "three"}) {
        fs::create_directory_symlink(".", m_folder / link);
        fs::create_directory_symlink("..", m_folder / "sub" / link);
    }
    QCOMPARE(ids(), QStringList({u"a"_s, u"sub-b"_s}));
}

void tst_EntryFiles::linksToTheWholeDiskHaveAnEnd()
{
    write("a.desktop");
    for (int i = 0; i < 6000; ++i)
        write("elsewhere/" + std::to_string(i) + ".desktop", 0);
    fs::create_directory(m_folder / "applications");
    write("applications/b.desktop");
    fs::create_directory_symlink("../elsewhere", m_folder / "applications" / "link");
    m_folder /= "applications";
    const QStringList found = ids();
    QCOMPARE(found.size(), 4999); // the link itself counts too
    QVERIFY(found.contains(u"b"_s));
}

void tst_EntryFiles::whatIsNearerComesFirst()
{
    write("deep/er/x.desktop");
    write("near.desktop");
    QCOMPARE(EntryFiles::in(m_folder).front().id, u"near"_s);
}

void tst_EntryFiles::onlyRegularFilesOfModestSizeCount()
{
    write("good.desktop", 1024 * 1024);
    write("huge.desktop", 1024 * 1024 + 1);
    QCOMPARE(mkfifo((m_folder / "pipe.desktop").c_str(), 0600), 0);
    fs::create_symlink("/dev/zero", m_folder / "device.desktop");
    fs::create_symlink("nowhere", m_folder / "dangling.desktop");
    fs::create_directory(m_folder / "folder.desktop");
    QCOMPARE(ids(), QStringList(u"good"_s));
    QVERIFY(EntryFiles::isReadable(m_folder / "good.desktop"));
    for (const char *const name : {"huge", "pipe", "device", "dangling", "folder", "missing"})
        QVERIFY2(!EntryFiles::isReadable(m_folder / (std::string(name) + ".desktop")), name);
}

void tst_EntryFiles::linksToFilesCount()
{
    write("real");
    fs::create_symlink("real", m_folder / "link.desktop");
    QCOMPARE(ids(), QStringList(u"link"_s));
}

void tst_EntryFiles::deepFoldersAreLeftOut()
{
    write("1/2/3/4/5/6/7/8/in.desktop");
    write("1/2/3/4/5/6/7/8/9/out.desktop");
    QCOMPARE(ids(), QStringList(u"1-2-3-4-5-6-7-8-in"_s));
}

void tst_EntryFiles::aMissingFolderHasNoFiles()
{
    m_folder /= "missing";
    QCOMPARE(ids(), QStringList());
}

QTEST_GUILESS_MAIN(tst_EntryFiles)
#include "tst_EntryFiles.moc"
