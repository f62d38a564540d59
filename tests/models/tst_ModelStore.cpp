#include "models/ModelStore.h"

#include "models/ModelManager.h"
#include "tests/support/PrivateHome.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <filesystem>

using namespace Qt::StringLiterals;

using Placement = ModelStore::Placement;

namespace {
const LocalModel &model()
{
    return LocalModel::catalog().first();
}

QString folder(const QString &name)
{
    return QDir(ModelManager::directory()).filePath(name);
}

QByteArray content(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : "(no file)"_ba;
}

void write(const QString &path, const QByteArray &bytes)
{
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    QCOMPARE(file.write(bytes), bytes.size());
}

Placement place(const QString &source)
{
    return ModelStore::place(source, model(), [](double) {});
}

// The sentence of the thrown failure; empty if there is none.
template <typename Action>
QString failure(const Action &action)
{
    try {
        action();
    } catch (const ModelStoreError &error) {
        return error.description();
    }
    return {};
}

bool areOne(const QString &one, const QString &other)
{
    return std::filesystem::equivalent(one.toStdString(), other.toStdString());
}
} // namespace

class tst_ModelStore : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void aFileOnTheSameDiskIsLinked();
    void theTargetOfALinkIsLinked();
    void aFileOnAnotherDiskIsCopied();
    void anOlderFileIsReplaced();
    void aLinkAtTheDestinationIsReplacedAndNotFollowed();
    void aFileAtTheDestinationIsKept();
    void reportsAnUnreadableFile();
    void listsCompleteFilesOnly();
    void removesAFileOfTheFolder();
    void removesNothingElse_data();
    void removesNothingElse();
    void sizesAreApproximate_data();
    void sizesAreApproximate();

private:
    std::unique_ptr<QTemporaryDir> m_elsewhere;
};

void tst_ModelStore::init()
{
    m_elsewhere = std::make_unique<QTemporaryDir>();
}

void tst_ModelStore::cleanup()
{
    QDir(ModelManager::directory()).removeRecursively();
}

void tst_ModelStore::aFileOnTheSameDiskIsLinked()
{
    const QString source = m_elsewhere->filePath(u"mine.gguf"_s);
    write(source, "mine");
    QCOMPARE(place(source), Placement::linked);
    QVERIFY(areOne(source, folder(model().fileName)));
    QCOMPARE(ModelStore::files().size(), 1);
    // The user may remove the original.
    QVERIFY(QFile::remove(source));
    QCOMPARE(content(folder(model().fileName)), "mine"_ba);
}

void tst_ModelStore::theTargetOfALinkIsLinked()
{
    const QString source = m_elsewhere->filePath(u"mine.gguf"_s);
    const QString link = m_elsewhere->filePath(u"link.gguf"_s);
    write(source, "mine");
    QVERIFY(QFile::link(source, link));
    QCOMPARE(place(link), Placement::linked);
    QVERIFY(!QFileInfo(folder(model().fileName)).isSymLink());
    QVERIFY(areOne(source, folder(model().fileName)));
}

void tst_ModelStore::aFileOnAnotherDiskIsCopied()
{
    const QString source = u"" OTHER_FILE_SYSTEM ""_s;
    double last = 0;
    const auto progress = [&last](double fraction) {
        QVERIFY(fraction >= last && fraction <= 1);
        last = fraction;
    };
    QCOMPARE(ModelStore::place(source, model(), progress), Placement::copied);
    QCOMPARE(last, 1.0);
    QVERIFY(!content(source).isEmpty());
    QCOMPARE(content(folder(model().fileName)), content(source));
    QCOMPARE(QDir(folder({})).entryList(QDir::Files | QDir::Hidden), QStringList{model().fileName});
}

void tst_ModelStore::anOlderFileIsReplaced()
{
    const QString source = m_elsewhere->filePath(u"mine.gguf"_s);
    write(source, "mine");
    write(folder(model().fileName), "an older one");
    QFile inUse(folder(model().fileName));
    QVERIFY(inUse.open(QIODevice::ReadOnly));
    QCOMPARE(place(source), Placement::linked);
    QCOMPARE(content(folder(model().fileName)), "mine"_ba);
    // A process that has opened the older file keeps it.
    QCOMPARE(inUse.readAll(), "an older one"_ba);
}

void tst_ModelStore::aLinkAtTheDestinationIsReplacedAndNotFollowed()
{
    const QString source = m_elsewhere->filePath(u"mine.gguf"_s);
    const QString other = m_elsewhere->filePath(u"other.gguf"_s);
    write(source, "mine");
    write(other, "other");
    QVERIFY(QFile::link(other, folder(model().fileName)));
    QCOMPARE(place(source), Placement::linked);
    QCOMPARE(content(folder(model().fileName)), "mine"_ba);
    QCOMPARE(content(other), "other"_ba);
}

void tst_ModelStore::aFileAtTheDestinationIsKept()
{
    const QString there = folder(model().fileName);
    write(there, "mine");
    QCOMPARE(place(there), Placement::isInPlace);
    QCOMPARE(content(there), "mine"_ba);
    const QString source = m_elsewhere->filePath(u"mine.gguf"_s);
    std::filesystem::create_hard_link(there.toStdString(), source.toStdString());
    QCOMPARE(place(source), Placement::isInPlace);
    QCOMPARE(ModelStore::files(), (QList<ModelStore::File>{{model().fileName, 4}}));
}

void tst_ModelStore::reportsAnUnreadableFile()
{
    const QString source = m_elsewhere->filePath(u"none.gguf"_s);
    QCOMPARE(
        failure([&] { (void)place(source); }),
        u"“%1” could not be put into the models folder: No such file or directory."_s.arg(source));
    QVERIFY(ModelStore::files().isEmpty());
}

void tst_ModelStore::listsCompleteFilesOnly()
{
    write(folder(u"b.gguf"_s), "12345");
    write(folder(u"a.gguf"_s), "123");
    write(folder(u"1f.quillon-part"_s), "1234567");
    QVERIFY(QDir(folder({})).mkdir(u"folder"_s));
    const QList<ModelStore::File> expected{{u"a.gguf"_s, 3}, {u"b.gguf"_s, 5}};
    QCOMPARE(ModelStore::files(), expected);
}

void tst_ModelStore::removesAFileOfTheFolder()
{
    const QString source = m_elsewhere->filePath(u"mine.gguf"_s);
    write(source, "mine");
    (void)place(source);
    ModelStore::remove(model().fileName);
    QVERIFY(ModelStore::files().isEmpty());
    QCOMPARE(content(source), "mine"_ba);
}

void tst_ModelStore::removesNothingElse_data()
{
    QTest::addColumn<QString>("name");
    QTest::newRow("none") << u"none.gguf"_s;
    QTest::newRow("nothing") << QString();
    QTest::newRow("outside") << u"../outside.gguf"_s;
    QTest::newRow("a folder") << u"folder"_s;
    QTest::newRow("not complete") << u"1f.quillon-part"_s;
}

void tst_ModelStore::removesNothingElse()
{
    QFETCH(const QString, name);
    const QString outside = folder(u"../outside.gguf"_s);
    write(outside, "mine");
    write(folder(u"1f.quillon-part"_s), "a part");
    QVERIFY(QDir(folder({})).mkdir(u"folder"_s));
    QCOMPARE(failure([&] { ModelStore::remove(name); }),
             u"There is no “%1” in the models folder."_s.arg(name));
    QCOMPARE(content(outside), "mine"_ba);
    QCOMPARE(content(folder(u"1f.quillon-part"_s)), "a part"_ba);
    QVERIFY(QDir(folder(u"folder"_s)).exists());
}

void tst_ModelStore::sizesAreApproximate_data()
{
    QTest::addColumn<qint64>("bytes");
    QTest::addColumn<bool>("isIt");
    // The catalogue has 986 MB.
    QTest::newRow("exactly") << qint64(986'000'000) << true;
    QTest::newRow("as it is published") << qint64(986'048'768) << true;
    QTest::newRow("a little less") << qint64(940'000'000) << true;
    QTest::newRow("less") << qint64(930'000'000) << false;
    QTest::newRow("more") << qint64(1'040'000'000) << false;
    QTest::newRow("a tenth") << qint64(98'000'000) << false;
    QTest::newRow("nothing") << qint64(0) << false;
}

void tst_ModelStore::sizesAreApproximate()
{
    QFETCH(const qint64, bytes);
    QTEST(ModelStore::isSizeOf(model(), bytes), "isIt");
}

int main(int argc, char *argv[])
{
    const PrivateHome home;
    const QCoreApplication application(argc, argv);
    tst_ModelStore test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_ModelStore.moc"
