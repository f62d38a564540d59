#include "models/LocalModel.h"

#include <QSet>
#include <QTest>

#include <nlohmann/json.hpp>

using namespace Qt::StringLiterals;

using nlohmann::json;

namespace {
LocalModel sample()
{
    return {u"id"_s,
            u"Näme"_s,
            u"Detail · ~1 GB"_s,
            QUrl(u"https://example.org/a%20b/model.gguf"_s),
            u"model.gguf"_s,
            986};
}

json sampleRecord()
{
    return json::parse(R"({"id": "id", "name": "Näme", "detail": "Detail · ~1 GB",)"
                       R"("url": "https://example.org/a%20b/model.gguf",)"
                       R"("fileName": "model.gguf", "sizeMB": 986})");
}

bool reads(const json &record)
{
    try {
        static_cast<void>(record.get<LocalModel>());
        return true;
    } catch (const json::exception &) {
        return false;
    }
}
} // namespace

class tst_LocalModel : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void catalogHasExactlyTheseModels_data();
    void catalogHasExactlyTheseModels();
    void catalogIsBuiltOnce();
    void equalityComparesEveryField_data();
    void equalityComparesEveryField();
    void isWrittenWithItsFieldNames();
    void addressIsWrittenEncoded();
    void isReadBack();
    void ignoresUnknownKeys();
    void refusesARecordWithoutAKey_data();
    void refusesARecordWithoutAKey();
    void refusesAWrongType_data();
    void refusesAWrongType();
};

void tst_LocalModel::catalogHasExactlyTheseModels_data()
{
    QTest::addColumn<int>("index");
    QTest::addColumn<LocalModel>("model");

    QTest::newRow("first, the default")
        << 0
        << LocalModel{u"qwen2.5-1.5b"_s,
                      u"Qwen2.5 1.5B Instruct"_s,
                      u"Fast and light \u00b7 ~1 GB"_s,
                      QUrl(u"https://huggingface.co/itlwas/"
                           "Qwen2.5-1.5B-Instruct-Q4_K_M-GGUF/resolve/main/"
                           "qwen2.5-1.5b-instruct-q4_k_m.gguf"_s),
                      u"qwen2.5-1.5b-instruct-q4_k_m.gguf"_s,
                      986};
    QTest::newRow("second") << 1
                            << LocalModel{u"llama3.2-3b"_s,
                                          u"Llama 3.2 3B Instruct"_s,
                                          u"Smarter planning \u00b7 ~2 GB"_s,
                                          QUrl(u"https://huggingface.co/bartowski/"
                                               "Llama-3.2-3B-Instruct-GGUF/resolve/main/"
                                               "Llama-3.2-3B-Instruct-Q4_K_M.gguf"_s),
                                          u"Llama-3.2-3B-Instruct-Q4_K_M.gguf"_s,
                                          2019};
}

void tst_LocalModel::catalogHasExactlyTheseModels()
{
    QFETCH(const int, index);
    QFETCH(const LocalModel, model);
    const LocalModel &offered = LocalModel::catalog().at(index);
    QCOMPARE(offered.id, model.id);
    QCOMPARE(offered.name, model.name);
    QCOMPARE(offered.detail, model.detail);
    QCOMPARE(offered.url, model.url);
    QCOMPARE(offered.fileName, model.fileName);
    QCOMPARE(offered.sizeMB, model.sizeMB);
    QCOMPARE(LocalModel::catalog().size(), 2);
}

void tst_LocalModel::catalogIsBuiltOnce()
{
    QCOMPARE(&LocalModel::catalog(), &LocalModel::catalog());
}

void tst_LocalModel::equalityComparesEveryField_data()
{
    QTest::addColumn<LocalModel>("other");
    LocalModel other = sample();
    other.id += u'x';
    QTest::newRow("id") << other;
    other = sample();
    other.id = u"ID"_s;
    QTest::newRow("id in another case") << other;
    other = sample();
    other.name += u'x';
    QTest::newRow("name") << other;
    other = sample();
    other.detail += u'x';
    QTest::newRow("detail") << other;
    other = sample();
    other.url.setPath(u"/x"_s);
    QTest::newRow("url") << other;
    other = sample();
    other.fileName = u"Model.gguf"_s;
    QTest::newRow("fileName") << other;
    other = sample();
    ++other.sizeMB;
    QTest::newRow("sizeMB") << other;
}

void tst_LocalModel::equalityComparesEveryField()
{
    QFETCH(const LocalModel, other);
    QVERIFY(sample() == sample());
    QVERIFY(sample() != other);
    QCOMPARE(qHash(sample()), qHash(sample()));
    QVERIFY(qHash(sample()) != qHash(other));
    QCOMPARE((QSet<LocalModel>{sample(), other, sample()}).size(), 2);
}

void tst_LocalModel::isWrittenWithItsFieldNames()
{
    QVERIFY(json(sample()) == sampleRecord());
    QVERIFY(json(sample()).at("sizeMB").is_number_integer());
}

void tst_LocalModel::addressIsWrittenEncoded()
{
    LocalModel model = sample();
    model.url = QUrl(u"https://example.org/ä b?q=ü#top"_s);
    QCOMPARE(QString::fromStdString(json(model).at("url").get<std::string>()),
             u"https://example.org/%C3%A4%20b?q=%C3%BC#top"_s);
    QVERIFY(json(model).get<LocalModel>() == model);
}

void tst_LocalModel::isReadBack()
{
    QVERIFY(sampleRecord().get<LocalModel>() == sample());
    for (const LocalModel &model : LocalModel::catalog())
        QVERIFY(json::parse(json(model).dump()).get<LocalModel>() == model);
}

void tst_LocalModel::ignoresUnknownKeys()
{
    json record = sampleRecord();
    record["sha256"] = "abc";
    record["ID"] = 7;
    QVERIFY(record.get<LocalModel>() == sample());
}

void tst_LocalModel::refusesARecordWithoutAKey_data()
{
    QTest::addColumn<QByteArray>("key");
    for (const char *key : {"id", "name", "detail", "url", "fileName", "sizeMB"})
        QTest::newRow(key) << QByteArray(key);
}

void tst_LocalModel::refusesARecordWithoutAKey()
{
    QFETCH(const QByteArray, key);
    json record = sampleRecord();
    record.erase(key.toStdString());
    QVERIFY(!reads(record));
}

void tst_LocalModel::refusesAWrongType_data()
{
    QTest::addColumn<QByteArray>("key");
    QTest::addColumn<QByteArray>("value");
    for (const char *key : {"id", "name", "detail", "url", "fileName"}) {
        for (const char *value : {"7", "null", "true", "[\"text\"]"})
            QTest::addRow("%s %s", key, value) << QByteArray(key) << QByteArray(value);
    }
    for (const char *value : {"\"986\"", "986.5", "986.0", "true", "null", "[986]", "2147483648",
                              "-2147483649", "18446744073709551615"})
        QTest::addRow("sizeMB %s", value) << QByteArray("sizeMB") << QByteArray(value);
    for (const char *value : {"\"\"", "\"https://exa mple.org/\"", "\"http://[\""})
        QTest::addRow("url %s", value) << QByteArray("url") << QByteArray(value);
}

void tst_LocalModel::refusesAWrongType()
{
    QFETCH(const QByteArray, key);
    QFETCH(const QByteArray, value);
    json record = sampleRecord();
    record[key.toStdString()] = json::parse(value.toStdString());
    QVERIFY(!reads(record));
    QVERIFY(!reads(json::array()));
}

QTEST_APPLESS_MAIN(tst_LocalModel)
#include "tst_LocalModel.moc"
