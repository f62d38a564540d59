#include "models/Transfer.h"

#include <QTest>

using namespace Qt::StringLiterals;

class tst_Transfer : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void namesTheFileAfterTheAddress_data();
    void namesTheFileAfterTheAddress();
    void computesTheReceivedFraction_data();
    void computesTheReceivedFraction();
};

void tst_Transfer::namesTheFileAfterTheAddress_data()
{
    QTest::addColumn<QString>("url");
    QTest::addColumn<QString>("name");
    const auto row = [](const char *url, const char *name) {
        QTest::newRow(url) << QString::fromUtf8(url) << QString::fromUtf8(name);
    };
    row("https://example.org/a/b/model-Q4_K_M.gguf", "model-Q4_K_M.gguf");
    row("https://example.org/model.bin?download=true#top", "model.bin");
    row("https://example.org/a/b/", "b");
    row("https://example.org/my%20model.gguf", "my model.gguf");
    row("https://example.org/m%C3%B6del.gguf", "mödel.gguf");
    row("https://example.org/.hidden", ".hidden");
    row("https://example.org", "model.gguf");
    row("https://example.org/", "model.gguf");
    row("https://example.org//", "model.gguf");
    row("https://example.org/?file=x.gguf", "model.gguf");
    row("https://example.org/a/..%2F..%2Fetc", "model.gguf");
    row("https://example.org/a/%2E%2E", "model.gguf");
    row("https://example.org/a/%2e", "model.gguf");
    row("https://example.org/a/x%00y", "model.gguf");
    row("", "model.gguf");
}

void tst_Transfer::namesTheFileAfterTheAddress()
{
    QFETCH(const QString, url);
    QFETCH(const QString, name);
    QCOMPARE(Transfer::fileName(QUrl(url)), name);
}

void tst_Transfer::computesTheReceivedFraction_data()
{
    QTest::addColumn<qint64>("received");
    QTest::addColumn<qint64>("whole");
    QTest::addColumn<double>("fraction");
    QTest::newRow("nothing") << qint64{0} << qint64{100} << 0.0;
    QTest::newRow("half") << qint64{50} << qint64{100} << 0.5;
    QTest::newRow("all") << qint64{100} << qint64{100} << 1.0;
    QTest::newRow("more than all") << qint64{101} << qint64{100} << 1.0;
    QTest::newRow("no length") << qint64{500'000'000} << qint64{-1} << 0.5;
    QTest::newRow("length zero") << qint64{250'000'000} << qint64{0} << 0.25;
    QTest::newRow("no length, little") << qint64{1} << qint64{-1} << 0.000'000'001;
    QTest::newRow("no length, full") << qint64{1'000'000'000} << qint64{-1} << 1.0;
    QTest::newRow("no length, beyond") << qint64{1'000'000'001} << qint64{-1} << 1.0;
    QTest::newRow("a real size") << qint64{986'000'000} << qint64{1'972'000'000} << 0.5;
}

void tst_Transfer::computesTheReceivedFraction()
{
    QFETCH(const qint64, received);
    QFETCH(const qint64, whole);
    QFETCH(const double, fraction);
    QVERIFY(Transfer::fraction(received, whole) == fraction);
}

QTEST_GUILESS_MAIN(tst_Transfer)
#include "tst_Transfer.moc"
