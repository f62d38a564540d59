#include "inference/LlamaEngine.h"

#include "tests/inference/HostileModels.h"
#include "tests/support/Awaited.h"

#include <QFile>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;

using HostileModels::Hostile;

// About 1,500 hostile files are loaded by the real engine. Each loads or is refused, and generates
// or fails; none may crash the program or hang.
class tst_LlamaEngineHostileModels : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void types_data() { addRows(HostileModels::types()); }
    void types() { survive(u"Hello there"_s); }
    void shapes_data() { addRows(HostileModels::shapes()); }
    void shapes() { survive(u"Hello there"_s); }
    void tokenizers_data() { addRows(HostileModels::tokenizers()); }
    void tokenizers();
    void templates_data() { addRows(HostileModels::templates()); }
    void templates() { survive(u"Hello there"_s); }
    void metadata_data() { addRows(HostileModels::metadata()); }
    void metadata() { survive(u"Hello there"_s); }
    void noise_data() { addRows(HostileModels::noise()); }
    void noise() { survive(u"Hello there"_s); }
    void thereAreEnoughFiles();
    void cleanupTestCase();

private:
    void addRows(std::vector<Hostile> models);
    void survive(const QString &prompt);

    QTemporaryDir m_folder;
    std::vector<Hostile> m_models;
};

void tst_LlamaEngineHostileModels::addRows(std::vector<Hostile> models)
{
    QTest::addColumn<std::size_t>("number");
    for (Hostile &each : models) {
        QTest::newRow(each.name.constData()) << m_models.size();
        m_models.push_back(std::move(each));
    }
}

void tst_LlamaEngineHostileModels::survive(const QString &prompt)
{
    QFETCH(const std::size_t, number);

    const QString path = m_folder.filePath(u"hostile.gguf"_s);
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    const QByteArray content = m_models.at(number).content();
    QCOMPARE(file.write(content), content.size());
    file.close();

    LlamaEngine engine;
    const auto failure = awaitedError(engine.load(path));
    QCOMPARE(engine.isLoaded(), !failure);
    const auto outcome = awaited(engine.generate(
        {{Role::system, u"Be brief."_s}, {Role::user, prompt}, {Role::assistant, u"é"_s}}, 3, {}));
    QVERIFY(outcome.value.has_value() != outcome.error.has_value());
    QVERIFY(!failure || outcome.error == InferenceError(InferenceError::notLoaded));
}

// Long runs of one kind of character are hard for rules that split texts.
void tst_LlamaEngineHostileModels::tokenizers()
{
    survive(u"It's 2,000 “naïve” 猫 🐈‍⬛\n\n\t "_s + QString(300, u'a') +
            QString(300, u' ') + QString(300, u'7') + QString(300, u'!'));
}

void tst_LlamaEngineHostileModels::thereAreEnoughFiles()
{
    QVERIFY(m_models.size() >= 1400);
}

// After all of them, the engine still works.
void tst_LlamaEngineHostileModels::cleanupTestCase()
{
    const QString path = m_folder.filePath(u"good.gguf"_s);
    HostileModels::good().write(path);
    LlamaEngine engine;
    QVERIFY(!awaitedError(engine.load(path)));
    const auto outcome = awaited(engine.generate({{Role::user, u"Hello"_s}}, 3, {}));
    QCOMPARE(outcome.value, u"word0 word1 word2 "_s);
}

QTEST_GUILESS_MAIN(tst_LlamaEngineHostileModels)
#include "tst_LlamaEngineHostileModels.moc"
