#include "tests/executor/Running.h"
#include "tests/support/FakePlatform.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <filesystem>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

class tst_FindFiles : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void listsTheNewestFirstAndRevealsIt();
    void listsFiveNamesAndCountsAll();
    void extensionsAndQueries_data();
    void extensionsAndQueries();
    void acceptsOtherKeysForFolderAndExtension();
    void skipsHiddenEntriesButNotFolders();
    void equalDatesKeepTheOrderOfTheListing();
    void aDanglingLinkIsTheOldest();
    void listsAndRevealsInvalidUtf8Names();
    void ignoresTheEncodingOfAccents();
    void reportsAnUnreadableFolderAsGiven_data();
    void reportsAnUnreadableFolderAsGiven();
    void findingNothingIsASuccess();
    void handlesAHundredThousandEntries();

private:
    void make(const QString &name, std::chrono::seconds age = 0s)
    {
        const std::filesystem::path path = m_home->filePath(u"Downloads/"_s + name).toStdString();
        QFile file(QString::fromStdString(path.string()));
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.close();
        std::filesystem::last_write_time(path, m_now - age);
    }

    const std::filesystem::file_time_type m_now = std::filesystem::file_time_type::clock::now();
    std::unique_ptr<QTemporaryDir> m_home;
    std::unique_ptr<FakePlatform> m_platform;
};

void tst_FindFiles::init()
{
    m_home = std::make_unique<QTemporaryDir>();
    qputenv("HOME", m_home->path().toUtf8());
    QVERIFY(QDir(m_home->path()).mkpath(u"Downloads"_s));
    m_platform = std::make_unique<FakePlatform>();
}

void tst_FindFiles::cleanup()
{
    m_platform.reset();
    m_home.reset();
}

void tst_FindFiles::listsTheNewestFirstAndRevealsIt()
{
    make(u"b.pdf"_s, 20s);
    make(u"a.pdf"_s, 30s);
    make(u"c.pdf"_s, 10s);
    QCOMPARE(outcome(u"find_files"_s),
             u"Found 3 file(s), newest first: c.pdf, b.pdf, a.pdf. Revealed “c.pdf” in Finder."_s);
    QCOMPARE(m_platform->fakeWorkspace.revealed,
             QList<std::filesystem::path>{m_home->filePath(u"Downloads/c.pdf"_s).toStdString()});
}

void tst_FindFiles::listsFiveNamesAndCountsAll()
{
    for (int i = 0; i < 7; ++i)
        make(QString::number(i), std::chrono::seconds(i));
    QCOMPARE(outcome(u"find_files"_s),
             u"Found 7 file(s), newest first: 0, 1, 2, 3, 4. Revealed “0” in Finder."_s);
}

void tst_FindFiles::extensionsAndQueries_data()
{
    QTest::addColumn<std::optional<QString>>("extension");
    QTest::addColumn<std::optional<QString>>("query");
    QTest::addColumn<QStringList>("names");
    using Text = std::optional<QString>;
    QTest::newRow("dot and upper case")
        << Text(u".PDF"_s) << Text() << QStringList{u"Invoice-2024.pdf"_s, u"scan.Pdf"_s};
    QTest::newRow("dots and spaces")
        << Text(u" ..pdf. . "_s) << Text() << QStringList{u"Invoice-2024.pdf"_s, u"scan.Pdf"_s};
    QTest::newRow("no part of an extension") << Text(u"pd"_s) << Text() << QStringList{};
    QTest::newRow("the last one only") << Text(u"tar.gz"_s) << Text() << QStringList{};
    QTest::newRow("last one") << Text(u"gz"_s) << Text() << QStringList{u"a.tar.gz"_s};
    QTest::newRow("a dot at the end begins none")
        << Text(u"."_s) << Text() << QStringList{u"inv"_s, u"odd."_s};
    QTest::newRow("query") << Text() << Text(u"iNVOICE"_s) << QStringList{u"Invoice-2024.pdf"_s};
    QTest::newRow("query meets the extension too")
        << Text() << Text(u".pdf."_s) << QStringList{u"notes.pdf.txt"_s};
    QTest::newRow("both") << Text(u"pdf"_s) << Text(u"s"_s) << QStringList{u"scan.Pdf"_s};
    QTest::newRow("no pattern") << Text() << Text(u"*"_s) << QStringList{};
}

void tst_FindFiles::extensionsAndQueries()
{
    QFETCH(const std::optional<QString>, extension);
    QFETCH(const std::optional<QString>, query);
    QFETCH(const QStringList, names);
    std::chrono::seconds age = 0s;
    for (const char *name :
         {"Invoice-2024.pdf", "scan.Pdf", "notes.pdf.txt", "a.tar.gz", "inv", "odd."})
        make(QString::fromUtf8(name), age++);
    const QString expected =
        names.isEmpty() ? u"No matching files in Downloads."_s
                        : u"Found %1 file(s), newest first: %2. Revealed “%3” in Finder."_s.arg(
                              QString::number(names.size()), names.join(u", "_s), names.first());
    QCOMPARE(Executor::findFiles(u"Downloads"_s, extension, query), expected);
}

void tst_FindFiles::acceptsOtherKeysForFolderAndExtension()
{
    make(u"a.pdf"_s);
    make(u"b.txt"_s);
    const QString pdf = u"Found 1 file(s), newest first: a.pdf. Revealed “a.pdf” in Finder."_s;
    QCOMPARE(outcome(u"find_files"_s, {{u"type"_s, u"pdf"_s}}), pdf);
    QCOMPARE(outcome(u"find_files"_s, {{u"extension"_s, u"pdf"_s}, {u"type"_s, u"txt"_s}}), pdf);
    QCOMPARE(outcome(u"find_files"_s, {{u"extension"_s, u" "_s}, {u"type"_s, u"pdf"_s}}), pdf);
    QCOMPARE(outcome(u"find_files"_s, {{u"folder"_s, u"~"_s}, {u"query"_s, u" loads "_s}}),
             u"Found 1 file(s), newest first: Downloads. Revealed “Downloads” in Finder."_s);
}

void tst_FindFiles::skipsHiddenEntriesButNotFolders()
{
    make(u".hidden.pdf"_s);
    QVERIFY(QDir(m_home->filePath(u"Downloads"_s)).mkpath(u"Folder.pdf/inner.pdf"_s));
    QCOMPARE(outcome(u"find_files"_s, {{u"extension"_s, u"pdf"_s}}),
             u"Found 1 file(s), newest first: Folder.pdf. Revealed “Folder.pdf” in Finder."_s);
}

void tst_FindFiles::equalDatesKeepTheOrderOfTheListing()
{
    for (int i = 0; i < 40; ++i)
        make(QString::number(i), 5s);
    QStringList listing;
    for (const auto &entry :
         std::filesystem::directory_iterator(m_home->filePath(u"Downloads"_s).toStdString()))
        listing.append(QString::fromStdString(entry.path().filename().string()));
    QCOMPARE(outcome(u"find_files"_s),
             u"Found 40 file(s), newest first: %1. Revealed “%2” in Finder."_s.arg(
                 listing.first(5).join(u", "_s), listing.first()));
}

void tst_FindFiles::aDanglingLinkIsTheOldest()
{
    QVERIFY(QFile::link(u"/nowhere"_s, m_home->filePath(u"Downloads/dangling"_s)));
    make(u"ancient"_s, std::chrono::hours(24 * 365 * 60));
    QCOMPARE(outcome(u"find_files"_s),
             u"Found 2 file(s), newest first: ancient, dangling. Revealed “ancient” in Finder."_s);
}

void tst_FindFiles::listsAndRevealsInvalidUtf8Names()
{
    const std::filesystem::path path = m_home->filePath(u"Downloads/"_s).toStdString() + "a\xff"
                                                                                         "b.pdf";
    std::filesystem::create_directory(path);
    QCOMPARE(outcome(u"find_files"_s, {{u"extension"_s, u"pdf"_s}}),
             u"Found 1 file(s), newest first: a\ufffdb.pdf. Revealed “a\ufffdb.pdf” in Finder."_s);
    QCOMPARE(m_platform->fakeWorkspace.revealed, QList<std::filesystem::path>{path});
    std::filesystem::remove(path); // QTemporaryDir cannot
}

void tst_FindFiles::ignoresTheEncodingOfAccents()
{
    make(u"Cafe\u0301.txt"_s);
    QVERIFY(outcome(u"find_files"_s, {{u"query"_s, u"CAFÉ"_s}}).startsWith(u"Found 1 file(s)"_s));
}

void tst_FindFiles::reportsAnUnreadableFolderAsGiven_data()
{
    QTest::addColumn<QString>("folder");
    QTest::newRow("missing") << u"my Stuff"_s;
    QTest::newRow("no folder") << u"Downloads/file"_s;
    QTest::newRow("dangling") << u"~/Downloads/dangling"_s;
}

void tst_FindFiles::reportsAnUnreadableFolderAsGiven()
{
    QFETCH(const QString, folder);
    make(u"file"_s);
    QVERIFY(QFile::link(u"/nowhere"_s, m_home->filePath(u"Downloads/dangling"_s)));
    QCOMPARE(outcome(u"find_files"_s, {{u"folder"_s, folder}}),
             u"ActionError: Couldn't read "_s + folder + u'.');
    QVERIFY(m_platform->fakeWorkspace.revealed.isEmpty());
}

void tst_FindFiles::findingNothingIsASuccess()
{
    QCOMPARE(outcome(u"find_files"_s, {{u"folder"_s, u" my Downloads "_s}}),
             u"No matching files in my Downloads."_s);
    QVERIFY(m_platform->fakeWorkspace.revealed.isEmpty());
}

void tst_FindFiles::handlesAHundredThousandEntries()
{
    const std::string folder = m_home->filePath(u"Downloads/"_s).toStdString();
    // Hard links, which are created fast; a file can have some ten thousands.
    for (int i = 0; i < 100'000; ++i) {
        const QString name = QString::number(i) + u".pdf"_s;
        if (i % 10'000 == 0)
            make(name);
        else
            std::filesystem::create_hard_link(folder + std::to_string(i - i % 10'000) + ".pdf",
                                              folder + name.toStdString());
    }
    const QString found = outcome(u"find_files"_s, {{u"extension"_s, u"pdf"_s}});
    QVERIFY(found.startsWith(u"Found 100000 file(s), newest first: "_s));
    QBENCHMARK_ONCE
    {
        QCOMPARE(outcome(u"find_files"_s, {{u"query"_s, u"99999"_s}}),
                 u"Found 1 file(s), newest first: 99999.pdf. Revealed “99999.pdf” in Finder."_s);
    }
}

QTEST_GUILESS_MAIN(tst_FindFiles)
#include "tst_FindFiles.moc"
