#include "tests/executor/Running.h"
#include "tests/support/FakePlatform.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;

class tst_Files : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void createsAFolderWithItsParentsAndRevealsIt();
    void createsAFolderAtThePath_data();
    void createsAFolderAtThePath();
    void acceptsAnExistingFolder();
    void reportsAFolderThatCannotBeCreated();
    void refusesNullCharacters();

    void aPathOpensWithItsDefaultApplication();
    void reportsAMissingPathAsGiven_data();
    void reportsAMissingPathAsGiven();
    void aFailedOpeningHasThePlatformsSentence();

    void trashesTheResolvedPath();
    void aFailedTrashingHasThePlatformsSentence();

private:
    [[nodiscard]] QString at(const QString &entry) const { return m_home->filePath(entry); }

    std::unique_ptr<QTemporaryDir> m_home;
    std::unique_ptr<FakePlatform> m_platform;
    FakeWorkspace *m_desk = nullptr;
};

void tst_Files::init()
{
    m_home = std::make_unique<QTemporaryDir>();
    qputenv("HOME", m_home->path().toUtf8());
    m_platform = std::make_unique<FakePlatform>();
    m_desk = &m_platform->fakeWorkspace;
}

void tst_Files::cleanup()
{
    m_desk = nullptr;
    m_platform.reset();
    m_home.reset();
}

void tst_Files::createsAFolderWithItsParentsAndRevealsIt()
{
    QCOMPARE(outcome(u"create_folder"_s, {{u"name"_s, u" Für é/b "_s}, {u"in"_s, u"Projects"_s}}),
             u"Created folder at "_s + at(u"Projects/Für é/b"_s) + u'.');
    QVERIFY(QDir(at(u"Projects/Für é/b"_s)).exists());
    QCOMPARE(m_desk->revealed,
             QList<std::filesystem::path>{at(u"Projects/Für é/b"_s).toStdString()});
}

void tst_Files::createsAFolderAtThePath_data()
{
    QTest::addColumn<QString>("in");
    QTest::addColumn<QString>("location");
    QTest::addColumn<QString>("parent");
    QTest::newRow("nowhere") << u""_s << u""_s << u"Desktop"_s;
    QTest::newRow("in") << u"my documents"_s << u"Downloads"_s << u"Documents"_s;
    QTest::newRow("location") << u" "_s << u"Downloads"_s << u"Downloads"_s;
}

void tst_Files::createsAFolderAtThePath()
{
    QFETCH(const QString, in);
    QFETCH(const QString, location);
    QFETCH(const QString, parent);
    const QString path = at(parent + u"/New"_s);
    QCOMPARE(outcome(u"create_folder"_s,
                     {{u"name"_s, u"New"_s}, {u"in"_s, in}, {u"location"_s, location}}),
             u"Created folder at "_s + path + u'.');
    QVERIFY(QDir(path).exists());
}

void tst_Files::acceptsAnExistingFolder()
{
    QVERIFY(QDir(m_home->path()).mkpath(u"Desktop/Old"_s));
    QVERIFY(QFile::link(at(u"Desktop/Old"_s), at(u"Desktop/Link"_s)));
    QCOMPARE(outcome(u"create_folder"_s, {{u"name"_s, u"Old"_s}}),
             u"Created folder at "_s + at(u"Desktop/Old"_s) + u'.');
    QCOMPARE(outcome(u"create_folder"_s, {{u"name"_s, u"Link"_s}}),
             u"Created folder at "_s + at(u"Desktop/Link"_s) + u'.');
    QCOMPARE(m_desk->revealed.size(), 2);
}

void tst_Files::reportsAFolderThatCannotBeCreated()
{
    QVERIFY(QDir(m_home->path()).mkpath(u"Desktop"_s));
    QFile file(at(u"Desktop/file"_s));
    QVERIFY(file.open(QIODevice::WriteOnly));
    QVERIFY(outcome(u"create_folder"_s, {{u"name"_s, u"file"_s}}).startsWith(u"PlatformError: "_s));
    QCOMPARE(outcome(u"create_folder"_s, {{u"name"_s, u"file/below"_s}}),
             u"PlatformError: Not a directory"_s);
    QCOMPARE(outcome(u"create_folder"_s, {{u"name"_s, QString(300, u'x')}}),
             u"PlatformError: File name too long"_s);
    QVERIFY(m_desk->revealed.isEmpty());
}

void tst_Files::refusesNullCharacters()
{
    const QString name = u"a"_s + QChar::Null + u"b"_s;
    QVERIFY(QDir(m_home->path()).mkpath(u"a"_s));
    QCOMPARE(outcome(u"create_folder"_s, {{u"name"_s, name}}),
             u"PlatformError: Invalid argument"_s);
    QCOMPARE(outcome(u"trash"_s, {{u"path"_s, name}}), u"PlatformError: Invalid argument"_s);
    QCOMPARE(outcome(u"trash"_s, {{u"path"_s, u"~root"_s + QChar::Null + u"/a"_s}}),
             u"PlatformError: Invalid argument"_s);
    QCOMPARE(outcome(u"open_path"_s, {{u"path"_s, name}}),
             u"ActionError: Nothing exists at "_s + name + u'.');
    QCOMPARE(outcome(u"find_files"_s, {{u"folder"_s, name}}),
             u"ActionError: Couldn't read "_s + name + u'.');
    QVERIFY(m_desk->trashed.isEmpty());
}

void tst_Files::aPathOpensWithItsDefaultApplication()
{
    QVERIFY(QDir(m_home->path()).mkpath(u"Downloads/a%20b #c"_s));
    QCOMPARE(outcome(u"open_path"_s, {{u"path"_s, u"Downloads/a%20b #c/"_s}}),
             u"Opened a%20b #c."_s);
    QCOMPARE(m_desk->opened, QList<QUrl>{QUrl::fromLocalFile(at(u"Downloads/a%20b #c"_s))});
    QCOMPARE(outcome(u"open_path"_s, {{u"path"_s, u"my downloads"_s}}), u"Opened Downloads."_s);
    QCOMPARE(outcome(u"open_path"_s, {{u"path"_s, u"/"_s}}), u"Opened /."_s);
    // Two leading slashes do not start a host name.
    QCOMPARE(outcome(u"open_path"_s, {{u"path"_s, u"//"_s + m_home->path()}}),
             u"Opened "_s + QFileInfo(m_home->path()).fileName() + u'.');
    QCOMPARE(m_desk->opened.last(), QUrl::fromLocalFile(m_home->path()));
}

void tst_Files::reportsAMissingPathAsGiven_data()
{
    QTest::addColumn<QString>("path");
    QTest::newRow("relative") << u"Downloads/old.zip"_s;
    QTest::newRow("absolute") << u"/nowhere/at all"_s;
    QTest::newRow("home") << u"~/nothing"_s;
    QTest::newRow("dangling") << u"dangling"_s;
}

void tst_Files::reportsAMissingPathAsGiven()
{
    QFETCH(const QString, path);
    QVERIFY(QFile::link(u"/nowhere"_s, at(u"dangling"_s)));
    QCOMPARE(outcome(u"open_path"_s, {{u"path"_s, path}}),
             u"ActionError: Nothing exists at "_s + path + u'.');
    QVERIFY(m_desk->opened.isEmpty());
}

void tst_Files::aFailedOpeningHasThePlatformsSentence()
{
    m_desk->failure = u"No application opens it."_s;
    QCOMPARE(outcome(u"open_path"_s, {{u"path"_s, u"~"_s}}),
             u"PlatformError: No application opens it."_s);
}

void tst_Files::trashesTheResolvedPath()
{
    // The platform decides whether the item exists.
    QCOMPARE(outcome(u"trash"_s, {{u"path"_s, u"Downloads/old.zip"_s}}),
             u"Moved old.zip to the Trash."_s);
    QCOMPARE(outcome(u"trash"_s, {{u"path"_s, u"~/link/"_s}}), u"Moved link to the Trash."_s);
    QCOMPARE(m_desk->trashed,
             (QList<std::filesystem::path>{at(u"Downloads/old.zip"_s).toStdString(),
                                           at(u"link"_s).toStdString()}));
}

void tst_Files::aFailedTrashingHasThePlatformsSentence()
{
    m_desk->failure = u"No such file or directory"_s;
    QCOMPARE(outcome(u"trash"_s, {{u"path"_s, u"Downloads/old.zip"_s}}),
             u"PlatformError: No such file or directory"_s);
}

QTEST_GUILESS_MAIN(tst_Files)
#include "tst_Files.moc"
