#include "executor/Executor.h"
#include "executor/Paths.h"

#include <QDir>
#include <QTest>

#include <pwd.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

class tst_Paths : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void wordsMeanFolders_data();
    void wordsMeanFolders();
    void expandsTheTildeOfAUser();
    void aTildeOfAnUnknownUserDoesNotDependOnTheWorkingDirectory();
    void aHomeWithATrailingSlashAddsNoDoubleSlash();
    void lastComponents_data();
    void lastComponents();
};

void tst_Paths::initTestCase()
{
    qputenv("HOME", "/home/me");
}

void tst_Paths::wordsMeanFolders_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("path");
    const auto row = [](const char *text, const char *path) {
        QTest::newRow(text) << QString::fromUtf8(text) << QString::fromUtf8(path);
    };
    row("desktop", "/home/me/Desktop");
    row("Desktop", "/home/me/Desktop");
    row("~/Desktop", "/home/me/Desktop");
    row("my desktop", "/home/me/Desktop");
    row("downloads", "/home/me/Downloads");
    row("Downloads Folder", "/home/me/Downloads");
    row("my downloads folder", "/home/me/Downloads");
    row(" \tDownloads\t ", "/home/me/Downloads");
    row("My Downloads", "/home/me/Downloads");
    row("~/my downloads", "/home/me/Downloads");
    row("~/~/my my Downloads", "/home/me/Downloads");
    row("documents", "/home/me/Documents");
    row("MY DOCUMENTS", "/home/me/Documents");
    row("pictures", "/home/me/Pictures");
    row("home", "/home/me");
    row("my home", "/home/me");
    row("~", "/home/me");
    row("~/", "/home/me");
    row("~/~", "/home/me");
    // Each deletion is one pass: what it joins is not searched again.
    row("~~//desktop", "/home/me/~~//desktop");
    row("mmy y desktop", "/home/me/mmy y desktop");
    // "~/" is deleted before "my ", so a "my " that it leaves is deleted too, but not vice versa.
    row("m~/y desktop", "/home/me/Desktop");
    row("~my /desktop", "/home/me/~my /desktop");
    row("download", "/home/me/download");
    row("documents folder", "/home/me/documents folder");
    row("\nDownloads", "/home/me/\nDownloads");
    row("Projects", "/home/me/Projects");
    row("Projects/", "/home/me/Projects");
    row("Downloads/old.zip", "/home/me/Downloads/old.zip");
    row("~/Projects", "/home/me/Projects");
    row("~/Projects/my app", "/home/me/Projects/my app");
    row("~/../other", "/home/me/../other");
    row("/", "/");
    row("//", "/");
    row("/tmp", "/tmp");
    row("/tmp/", "/tmp");
    row("/Tmp/my x", "/Tmp/my x");
    row("  /tmp/a b ", "/tmp/a b");
    row("", "/home/me");
}

void tst_Paths::wordsMeanFolders()
{
    QFETCH(const QString, text);
    QFETCH(const QString, path);
    QCOMPARE(Executor::resolveFolder(text), path);
}

void tst_Paths::expandsTheTildeOfAUser()
{
    const passwd *const me = getpwuid(getuid());
    QVERIFY(me);
    const QString name = QString::fromUtf8(me->pw_name);
    const QString home = QDir::cleanPath(QString::fromUtf8(me->pw_dir));
    QCOMPARE(Executor::resolveFolder(u'~' + name), home);
    QCOMPARE(Executor::resolveFolder(u'~' + name + u"/a b"_s), home + u"/a b"_s);
}

void tst_Paths::aTildeOfAnUnknownUserDoesNotDependOnTheWorkingDirectory()
{
    QCOMPARE(Executor::resolveFolder(u"~no such user/x"_s), u"/home/me/~no such user/x"_s);
    QCOMPARE(Executor::resolveFolder(u"~no such user"_s), u"/home/me/~no such user"_s);
}

void tst_Paths::aHomeWithATrailingSlashAddsNoDoubleSlash()
{
    qputenv("HOME", "/home/me/");
    QCOMPARE(Executor::resolveFolder(u"downloads"_s), u"/home/me/Downloads"_s);
    qputenv("HOME", "/");
    QCOMPARE(Executor::resolveFolder(u"downloads"_s), u"/Downloads"_s);
    QCOMPARE(Executor::resolveFolder(u"~"_s), u"/"_s);
    qputenv("HOME", "/home/me");
}

void tst_Paths::lastComponents_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<QString>("name");
    QTest::newRow("file") << u"/a/b.txt"_s << u"b.txt"_s;
    QTest::newRow("folder") << u"/a/b/"_s << u"b"_s;
    QTest::newRow("root") << u"/"_s << u"/"_s;
    QTest::newRow("top") << u"/a"_s << u"a"_s;
}

void tst_Paths::lastComponents()
{
    QFETCH(const QString, path);
    QFETCH(const QString, name);
    QCOMPARE(Executor::lastPathComponent(path), name);
}

QTEST_GUILESS_MAIN(tst_Paths)
#include "tst_Paths.moc"
