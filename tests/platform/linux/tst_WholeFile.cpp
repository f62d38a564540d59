#include "platform/PlatformError.h"
#include "platform/linux/WholeFile.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <csignal>
#include <sys/resource.h>

using namespace Qt::StringLiterals;

class tst_WholeFile : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void theContentIsThereAndNothingElse();
    void aFileFromBeforeIsReplaced();
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
            WholeFile::write(path.toStdString(), content);
        } catch (const PlatformError &error) {
            return QString::fromUtf8(error.what());
        }
        return u"It was written."_s;
    }

    QTemporaryDir m_folder;
};

void tst_WholeFile::theContentIsThereAndNothingElse()
{
    const QString path = m_folder.filePath(u"ä b.png"_s);
    WholeFile::write(path.toStdString(), "content");
    QCOMPARE(read(path), "content"_ba);
    QCOMPARE(QDir(m_folder.path()).entryList(QDir::Files | QDir::Hidden),
             QStringList{u"ä b.png"_s});
}

void tst_WholeFile::aFileFromBeforeIsReplaced()
{
    const QString path = m_folder.filePath(u"ä b.png"_s);
    WholeFile::write(path.toStdString(), "longer than before");
    WholeFile::write(path.toStdString(), "short");
    QCOMPARE(read(path), "short"_ba);
}

void tst_WholeFile::aFolderThatIsNotThereFails_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<QString>("reason");
    QTest::newRow("missing") << m_folder.filePath(u"nowhere/a.png"_s)
                             << u"No such file or directory"_s;
    QTest::newRow("a file") << u"/dev/null/a.png"_s << u"Not a directory"_s;
}

void tst_WholeFile::aFolderThatIsNotThereFails()
{
    QFETCH(QString, path);
    QFETCH(QString, reason);
    QCOMPARE(failure(path, "content"), u"The file can't be saved: "_s + reason + u'.');
}

void tst_WholeFile::aDiskThatIsFullKeepsNothing()
{
    // What the system says for a file that grows too large it says in the same way for a disk.
    const QString path = m_folder.filePath(u"large.png"_s);
    WholeFile::write(path.toStdString(), "from before");
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

QTEST_GUILESS_MAIN(tst_WholeFile)
#include "tst_WholeFile.moc"
