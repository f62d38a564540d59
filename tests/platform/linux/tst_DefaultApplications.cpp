#include "platform/linux/desktop/DefaultApplications.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <sys/stat.h>

using namespace Qt::StringLiterals;

namespace {
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
    return DefaultApplications::forType(
        type, {root() + u"/data/applications"_s, root() + u"/system/applications"_s},
        [&](const QString &id) { return installed.contains(id); });
}
} // namespace

class tst_DefaultApplications : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void cleanup()
    {
        QDir(root()).removeRecursively();
        QVERIFY(QDir().mkpath(root()));
    }

    void whatTheUserHasChosenComesFirst();
    void aDesktopsOwnListComesBeforeTheCommonOne();
    void whatIsNotInstalledIsPassedOver();
    void whatTheUserHasRemovedStaysRemoved();
    void aTypeIsOpenedAsWhatItIsAKindOf();
    void aTypeOfAnOldNameIsTheNewOne();
    void listsThatAreNoFilesSayNothing();
};

void tst_DefaultApplications::whatTheUserHasChosenComesFirst()
{
    write(u"system/applications/mimeinfo.cache"_s, "[MIME Cache]\ntext/plain=other.desktop;\n");
    QCOMPARE(forType(u"text/plain"_s), QStringList(u"other"_s));
    write(u"config/mimeapps.list"_s,
          "[Added Associations]\ntext/plain=viewer.desktop;\n"
          "[Default Applications]\n# a remark\ntext/plain = editor.desktop;\n");
    QCOMPARE(forType(u"text/plain"_s), QStringList({u"editor"_s, u"viewer"_s, u"other"_s}));
    QCOMPARE(forType(u"text/html"_s), QStringList());
}

void tst_DefaultApplications::aDesktopsOwnListComesBeforeTheCommonOne()
{
    write(u"system/applications/mimeapps.list"_s,
          "[Default Applications]\nx-scheme-handler/https=other.desktop\n");
    write(u"system/applications/test-mimeapps.list"_s,
          "[Default Applications]\nx-scheme-handler/https=browser.desktop\n");
    QCOMPARE(forType(u"x-scheme-handler/https"_s).constFirst(), u"browser"_s);
}

void tst_DefaultApplications::whatIsNotInstalledIsPassedOver()
{
    write(u"config/mimeapps.list"_s,
          "[Default Applications]\ntext/plain=gone.desktop;no-entry;viewer.desktop\n");
    QCOMPARE(forType(u"text/plain"_s), QStringList(u"viewer"_s));
}

void tst_DefaultApplications::whatTheUserHasRemovedStaysRemoved()
{
    write(u"system/applications/mimeinfo.cache"_s,
          "[MIME Cache]\ntext/plain=editor.desktop;other.desktop;\n");
    write(u"config/mimeapps.list"_s, "[Removed Associations]\ntext/plain=editor.desktop;\n");
    QCOMPARE(forType(u"text/plain"_s), QStringList(u"other"_s));
}

void tst_DefaultApplications::aTypeIsOpenedAsWhatItIsAKindOf()
{
    write(u"system/mime/subclasses"_s,
          "text/x-example text/plain\ntext/x-example application/x-executable\n");
    write(u"system/applications/mimeinfo.cache"_s,
          "[MIME Cache]\ntext/plain=editor.desktop;\napplication/x-executable=other.desktop;\n"
          "text/x-example=viewer.desktop;\n");
    QCOMPARE(forType(u"text/x-example"_s), QStringList({u"viewer"_s, u"editor"_s, u"other"_s}));
}

void tst_DefaultApplications::aTypeOfAnOldNameIsTheNewOne()
{
    write(u"system/mime/aliases"_s, "application/x-old text/plain\n");
    write(u"system/applications/mimeinfo.cache"_s, "[MIME Cache]\ntext/plain=editor.desktop;\n");
    QCOMPARE(forType(u"application/x-old"_s), QStringList(u"editor"_s));
}

void tst_DefaultApplications::listsThatAreNoFilesSayNothing()
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
    QCoreApplication app(argc, argv);
    tst_DefaultApplications test;
    return QTest::qExec(&test, argc, argv);
}
#include "tst_DefaultApplications.moc"
