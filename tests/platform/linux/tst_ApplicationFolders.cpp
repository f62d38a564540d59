#include "platform/linux/desktop/DesktopEntries.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <sys/stat.h>

using namespace Qt::StringLiterals;

namespace fs = std::filesystem;

namespace {
constexpr qint64 mebibyte = qint64{1024} * 1024;

// One per process, since the settings folders are read only once.
QString &root()
{
    static QString path;
    return path;
}

void write(const QString &file, const QByteArray &content)
{
    const QString path = root() + u'/' + file;
    QVERIFY(QDir().mkpath(QFileInfo(path).path()));
    QFile target(path);
    QVERIFY(target.open(QIODevice::WriteOnly) && target.write(content) == content.size());
}

QStringList forType(const QString &type)
{
    const QStringList installed{u"editor"_s, u"other"_s, u"viewer"_s, u"browser"_s};
    return DesktopEntries::defaultsFor(
        type, {root() + u"/data/applications"_s, root() + u"/system/applications"_s},
        [&](const QString &id) { return installed.contains(id); });
}
} // namespace

class tst_ApplicationFolders : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void idsTellTheFoldersOfFiles();
    void foldersThatLeadToThemselvesAreVisitedOnce();
    void linksToTheWholeDiskHaveAnEnd();
    void whatIsNearerComesFirst();
    void onlyRegularFilesOfModestSizeCount();
    void linksToFilesCount();
    void deepFoldersAreLeftOut();
    void filesAreReadUpToABoundInAll();
    void aMissingFolderHasNoFiles();

    void whatTheUserHasChosenComesFirst();
    void aDesktopsOwnListComesBeforeTheCommonOne();
    void whatIsNotInstalledIsPassedOver();
    void whatTheUserHasRemovedStaysRemoved();
    void aTypeIsOpenedAsWhatItIsAKindOf();
    void aTypeIsAKindOfFewOthers();
    void aTypeOfAnOldNameIsTheNewOne();
    void listsThatAreNoFilesSayNothing();

private:
    void make(const fs::path &file, qint64 size = 10) const
    {
        fs::create_directories((m_folder / file).parent_path());
        QFile entry(QFile::decodeName((m_folder / file).c_str()));
        QVERIFY(entry.open(QIODevice::WriteOnly) && entry.resize(size));
    }

    [[nodiscard]] QStringList ids() const
    {
        QStringList result;
        for (const ApplicationFolders::EntryFile &each : ApplicationFolders::entriesIn(m_folder))
            result.append(each.id);
        result.sort();
        return result;
    }

    fs::path m_folder;
};

void tst_ApplicationFolders::init()
{
    QDir(root()).removeRecursively();
    QVERIFY(QDir().mkpath(root()));
    m_folder = root().toStdString();
}

void tst_ApplicationFolders::idsTellTheFoldersOfFiles()
{
    make("plain.desktop");
    make("kde/dolphin.desktop");
    make("wine/Programs/A B/c.desktop");
    make("mimeinfo.cache");
    QCOMPARE(ids(), QStringList({u"kde-dolphin"_s, u"plain"_s, u"wine-Programs-A B-c"_s}));
}

void tst_ApplicationFolders::foldersThatLeadToThemselvesAreVisitedOnce()
{
    make("a.desktop");
    make("sub/b.desktop");
    // Links double the number of paths with each level.
    for (const char *const link : {"one", "two", "three"}) {
        fs::create_directory_symlink(".", m_folder / link);
        fs::create_directory_symlink("..", m_folder / "sub" / link);
    }
    QCOMPARE(ids(), QStringList({u"a"_s, u"sub-b"_s}));
}

void tst_ApplicationFolders::linksToTheWholeDiskHaveAnEnd()
{
    make("a.desktop");
    for (int i = 0; i < 6000; ++i)
        make("elsewhere/" + std::to_string(i) + ".desktop", 0);
    fs::create_directory(m_folder / "applications");
    make("applications/b.desktop");
    fs::create_directory_symlink("../elsewhere", m_folder / "applications" / "link");
    m_folder /= "applications";
    const QStringList found = ids();
    QCOMPARE(found.size(), 4999); // the link itself counts too
    QVERIFY(found.contains(u"b"_s));
}

void tst_ApplicationFolders::whatIsNearerComesFirst()
{
    make("deep/er/x.desktop");
    make("near.desktop");
    QCOMPARE(ApplicationFolders::entriesIn(m_folder).front().id, u"near"_s);
}

void tst_ApplicationFolders::onlyRegularFilesOfModestSizeCount()
{
    make("good.desktop", mebibyte);
    make("huge.desktop", mebibyte + 1);
    QCOMPARE(mkfifo((m_folder / "pipe.desktop").c_str(), 0600), 0);
    fs::create_symlink("/dev/zero", m_folder / "device.desktop");
    fs::create_symlink("nowhere", m_folder / "dangling.desktop");
    fs::create_directory(m_folder / "folder.desktop");
    QCOMPARE(ids(), QStringList(u"good"_s));
    const auto content = [&](const std::string &name) {
        return ApplicationFolders::content(
            QFile::decodeName((m_folder / (name + ".desktop")).c_str()));
    };
    QCOMPARE(content("good").value_or(QByteArray()).size(), 1024 * 1024);
    for (const char *const name : {"huge", "pipe", "device", "dangling", "folder", "missing"})
        QVERIFY2(!content(name), name);
}

void tst_ApplicationFolders::linksToFilesCount()
{
    make("real");
    fs::create_symlink("real", m_folder / "link.desktop");
    QCOMPARE(ids(), QStringList(u"link"_s));
}

void tst_ApplicationFolders::deepFoldersAreLeftOut()
{
    make("1/2/3/4/5/6/7/8/in.desktop");
    make("1/2/3/4/5/6/7/8/9/out.desktop");
    QCOMPARE(ids(), QStringList(u"1-2-3-4-5-6-7-8-in"_s));
}

void tst_ApplicationFolders::filesAreReadUpToABoundInAll()
{
    for (int i = 10; i < 80; ++i)
        make(std::to_string(i) + ".desktop", mebibyte);
    QCOMPARE(ids().size(), 64);
}

void tst_ApplicationFolders::aMissingFolderHasNoFiles()
{
    m_folder /= "missing";
    QCOMPARE(ids(), QStringList());
}

void tst_ApplicationFolders::whatTheUserHasChosenComesFirst()
{
    write(u"system/applications/mimeinfo.cache"_s, "[MIME Cache]\ntext/plain=other.desktop;\n");
    QCOMPARE(forType(u"text/plain"_s), QStringList(u"other"_s));
    write(u"config/mimeapps.list"_s,
          "[Added Associations]\ntext/plain=viewer.desktop;\n"
          "[Default Applications]\n# a remark\ntext/plain = editor.desktop;\n");
    QCOMPARE(forType(u"text/plain"_s), QStringList({u"editor"_s, u"viewer"_s, u"other"_s}));
    QCOMPARE(forType(u"text/html"_s), QStringList());
}

void tst_ApplicationFolders::aDesktopsOwnListComesBeforeTheCommonOne()
{
    write(u"system/applications/mimeapps.list"_s,
          "[Default Applications]\nx-scheme-handler/https=other.desktop\n");
    write(u"system/applications/test-mimeapps.list"_s,
          "[Default Applications]\nx-scheme-handler/https=browser.desktop\n");
    QCOMPARE(forType(u"x-scheme-handler/https"_s).constFirst(), u"browser"_s);
}

void tst_ApplicationFolders::whatIsNotInstalledIsPassedOver()
{
    write(u"config/mimeapps.list"_s,
          "[Default Applications]\ntext/plain=gone.desktop;no-entry;viewer.desktop\n");
    QCOMPARE(forType(u"text/plain"_s), QStringList(u"viewer"_s));
}

void tst_ApplicationFolders::whatTheUserHasRemovedStaysRemoved()
{
    write(u"system/applications/mimeinfo.cache"_s,
          "[MIME Cache]\ntext/plain=editor.desktop;other.desktop;\n");
    write(u"config/mimeapps.list"_s, "[Removed Associations]\ntext/plain=editor.desktop;\n");
    QCOMPARE(forType(u"text/plain"_s), QStringList(u"other"_s));
}

void tst_ApplicationFolders::aTypeIsOpenedAsWhatItIsAKindOf()
{
    write(u"system/mime/subclasses"_s,
          "text/x-example text/plain\ntext/x-example application/x-executable\n");
    write(u"system/applications/mimeinfo.cache"_s,
          "[MIME Cache]\ntext/plain=editor.desktop;\napplication/x-executable=other.desktop;\n"
          "text/x-example=viewer.desktop;\n");
    QCOMPARE(forType(u"text/x-example"_s), QStringList({u"viewer"_s, u"editor"_s, u"other"_s}));
}

void tst_ApplicationFolders::aTypeIsAKindOfFewOthers()
{
    QByteArray kinds;
    for (int i = 0; i < 1000; ++i)
        kinds += "x/" + QByteArray::number(i) + " x/" + QByteArray::number(i + 1) + '\n';
    write(u"system/mime/subclasses"_s, kinds);
    write(u"system/applications/mimeinfo.cache"_s, "[MIME Cache]\nx/29=editor.desktop;\n");
    QCOMPARE(forType(u"x/0"_s), QStringList(u"editor"_s));
    QCOMPARE(forType(u"x/1"_s), QStringList(u"editor"_s));
    write(u"system/applications/mimeinfo.cache"_s, "[MIME Cache]\nx/30=editor.desktop;\n");
    QCOMPARE(forType(u"x/0"_s), QStringList());
}

void tst_ApplicationFolders::aTypeOfAnOldNameIsTheNewOne()
{
    write(u"system/mime/aliases"_s, "application/x-old text/plain\n");
    write(u"system/applications/mimeinfo.cache"_s, "[MIME Cache]\ntext/plain=editor.desktop;\n");
    QCOMPARE(forType(u"application/x-old"_s), QStringList(u"editor"_s));
}

void tst_ApplicationFolders::listsThatAreNoFilesSayNothing()
{
    write(u"system/applications/mimeinfo.cache"_s, "[MIME Cache]\ntext/plain=editor.desktop;\n");
    QVERIFY(QDir().mkpath(root() + u"/config"_s));
    QCOMPARE(mkfifo(QFile::encodeName(root() + u"/config/mimeapps.list"_s).constData(), 0600), 0);
    QCOMPARE(forType(u"text/plain"_s), QStringList(u"editor"_s));
}

int main(int argc, char *argv[])
{
    const QTemporaryDir folder;
    root() = folder.filePath(u"files"_s);
    qputenv("XDG_CONFIG_HOME", QFile::encodeName(root() + u"/config"_s));
    qputenv("XDG_CONFIG_DIRS", "/nowhere");
    qputenv("XDG_CURRENT_DESKTOP", "Test:GNOME");
    const QCoreApplication app(argc, argv);
    tst_ApplicationFolders test;
    return QTest::qExec(&test, argc, argv);
}
#include "tst_ApplicationFolders.moc"
