#include "tests/support/TestModel.h"

#include <QFileInfo>
#include <QTemporaryDir>
#include <QTest>

#include <stdexcept>

using namespace Qt::StringLiterals;

// The engine's tests check the replies; this checks the invalid models.
class tst_TestModel : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void refusesInvalidReplies_data();
    void refusesInvalidReplies();
    void refusesAPathThatCannotBeWritten();
    void writesSmallFiles();
};

void tst_TestModel::refusesInvalidReplies_data()
{
    QTest::addColumn<QList<QByteArray>>("texts");

    QTest::newRow("no reply") << QList<QByteArray>();
    QTest::newRow("the same reply twice") << QList<QByteArray>{"Hello there.", "Hello there."};
    QTest::newRow("the same but for space around")
        << QList<QByteArray>{"Hello there.", " Hello there.\n"};
    QTest::newRow("a blank reply that is not the last") << QList<QByteArray>{"  ", "Hello there."};
    QTest::newRow("a text of one letter only") << QList<QByteArray>{"a"};
    QTest::newRow("more replies than gates") << [] {
        QList<QByteArray> texts;
        for (int i = 0; i < 33; ++i)
            texts << "Reply number " + QByteArray::number(i);
        return texts;
    }();
}

void tst_TestModel::refusesInvalidReplies()
{
    QFETCH(const QList<QByteArray>, texts);

    const QTemporaryDir folder;
    QVERIFY_THROWS_EXCEPTION(std::invalid_argument,
                             TestModel::saying(texts).write(folder.filePath(u"a.gguf"_s)));
}

void tst_TestModel::refusesAPathThatCannotBeWritten()
{
    const QTemporaryDir folder;
    QVERIFY_THROWS_EXCEPTION(
        std::runtime_error,
        TestModel::saying({"Hello there."}).write(folder.filePath(u"missing/a.gguf"_s)));
}

void tst_TestModel::writesSmallFiles()
{
    const QTemporaryDir folder;
    const QString path = folder.filePath(u"a.gguf"_s);
    QList<QByteArray> texts;
    for (int i = 0; i < 32; ++i) {
        texts << R"({"action":"open_path","args":{"path":"~/Documents/)" + QByteArray::number(i) +
                     R"(.pdf"}})";
    }
    TestModel::saying(texts).write(path);
    QVERIFY(QFileInfo(path).size() < 8'000'000);
}

QTEST_APPLESS_MAIN(tst_TestModel)
#include "tst_TestModel.moc"
