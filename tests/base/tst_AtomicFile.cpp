#include "base/AtomicFile.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <csignal>
#include <sys/resource.h>

using namespace Qt::StringLiterals;

class tst_AtomicFile : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void theContentIsThereAndNothingElse();
    void aFileFromBeforeIsReplaced();
    void aLinkIsReplacedAndNotFollowed();
    void aFolderInItsPlaceFails();
    void aFolderThatIsNotThereFails_data();
    void aFolderThatIsNotThereFails();
    void aDiskThatIsFullKeepsNothing();

private:
    [[nodiscard]] static QByteArray read(const QString &path)
    {
        QFile file(path);
        return file.open(QIODevice::ReadOnly) ? file.readAll() : "no file"_ba;
    }

    [[nodiscard]] static QString failure(const QString &path, const QByteArray &content)
    {
        try {
            AtomicFile::write(path.toStdString(), content);
        } catch (const AtomicFileError &error) {
            return QString::fromUtf8(error.what());
        }
        return u"It was written."_s;
    }

    QTemporaryDir m_folder;
};

void tst_AtomicFile::theContentIsThereAndNothingElse()
{
    const QString path = m_folder.filePath(u"ä b.png"_s);
    AtomicFile::write(path.toStdString(), "content");
    QCOMPARE(read(path), "content"_ba);
    QCOMPARE(QDir(m_folder.path()).entryList(QDir::Files | QDir::Hidden),
             QStringList{u"ä b.png"_s});
}

void tst_AtomicFile::aFileFromBeforeIsReplaced()
{
    const QString path = m_folder.filePath(u"ä b.png"_s);
    AtomicFile::write(path.toStdString(), "longer than before");
    AtomicFile::write(path.toStdString(), "short");
    QCOMPARE(read(path), "short"_ba);
}

void tst_AtomicFile::aLinkIsReplacedAndNotFollowed()
{
    const QString precious = m_folder.filePath(u"precious"_s);
    const QString link = m_folder.filePath(u"link.png"_s);
    AtomicFile::write(precious.toStdString(), "kept");
    QVERIFY(QFile::link(precious, link));
    AtomicFile::write(link.toStdString(), "content");
    QCOMPARE(read(precious), "kept"_ba);
    QCOMPARE(read(link), "content"_ba);
    QVERIFY(!QFileInfo(link).isSymLink());
}

void tst_AtomicFile::aFolderInItsPlaceFails()
{
    const QDir folder(m_folder.path());
    QVERIFY(folder.mkdir(u"folder.png"_s));
    const QStringList before = folder.entryList(QDir::AllEntries | QDir::Hidden);
    QCOMPARE(failure(folder.filePath(u"folder.png"_s), "content"),
             u"The file can't be saved: Is a directory."_s);
    QCOMPARE(folder.entryList(QDir::AllEntries | QDir::Hidden), before);
}

void tst_AtomicFile::aFolderThatIsNotThereFails_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<QString>("reason");
    QTest::newRow("missing") << m_folder.filePath(u"nowhere/a.png"_s)
                             << u"No such file or directory"_s;
    QTest::newRow("a file") << u"/dev/null/a.png"_s << u"Not a directory"_s;
}

void tst_AtomicFile::aFolderThatIsNotThereFails()
{
    QFETCH(const QString, path);
    QFETCH(const QString, reason);
    QCOMPARE(failure(path, "content"), u"The file can't be saved: "_s + reason + u'.');
}

void tst_AtomicFile::aDiskThatIsFullKeepsNothing()
{
    // A limit of the file size fails like a full disk.
    const QString path = m_folder.filePath(u"large.png"_s);
    AtomicFile::write(path.toStdString(), "from before");
    const QStringList before = QDir(m_folder.path()).entryList(QDir::Files | QDir::Hidden);
    std::signal(SIGXFSZ, SIG_IGN);
    rlimit limit{};
    getrlimit(RLIMIT_FSIZE, &limit);
    const rlimit small{1000, limit.rlim_max};
    setrlimit(RLIMIT_FSIZE, &small);
    const QString told = failure(path, QByteArray(100'000, 'x'));
    setrlimit(RLIMIT_FSIZE, &limit);
    QCOMPARE(told, u"The file can't be saved: File too large."_s);
    QCOMPARE(read(path), "from before"_ba);
    QCOMPARE(QDir(m_folder.path()).entryList(QDir::Files | QDir::Hidden), before);
}

QTEST_GUILESS_MAIN(tst_AtomicFile)
#include "tst_AtomicFile.moc"
