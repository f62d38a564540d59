#include "inference/ModelFile.h"

#include "inference/AbortGuard.h"
#include "inference/InferenceError.h"
#include "tests/inference/GgufFile.h"
#include "tests/inference/HostileModels.h"

#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <ggml.h>
#include <gguf.h>
#include <sys/stat.h>

using namespace Qt::StringLiterals;

class tst_ModelFile : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();

    void aGoodFileIsLoadable();
    void keysAndTensorsAreCounted_data();
    void keysAndTensorsAreCounted();
    void theMetadataHasALimit();
    void onlyComputableWeightsAreLoadable_data();
    void onlyComputableWeightsAreLoadable();
    void splitModelsAreNotLoadable_data();
    void splitModelsAreNotLoadable();
    void aTokenizerThatNeverEndsIsNotLoadable_data();
    void aTokenizerThatNeverEndsIsNotLoadable();
    void onlyRegularFilesAreLoadable();

private:
    bool isLoadable(const QString &path) const;
    bool isLoadable(const GgufFile &file);

    QTemporaryDir m_folder;
    GgufFile m_good;
};

void tst_ModelFile::initTestCase()
{
    const QString path = m_folder.filePath(u"good.gguf"_s);
    HostileModels::good().write(path);
    m_good = GgufFile::read(path);
}

bool tst_ModelFile::isLoadable(const QString &path) const
{
    const AbortGuard guard;
    try {
        ModelFile::requireLoadable(path);
    } catch (const InferenceError &error) {
        return error.reason() != InferenceError::loadFailed;
    }
    return true;
}

bool tst_ModelFile::isLoadable(const GgufFile &file)
{
    const QString path = m_folder.filePath(u"model.gguf"_s);
    QFile model(path);
    const QByteArray bytes = file.bytes();
    if (!model.open(QIODevice::WriteOnly) || model.write(bytes) != bytes.size())
        qFatal("cannot write %s", qPrintable(path));
    model.close();
    return isLoadable(path);
}

void tst_ModelFile::aGoodFileIsLoadable()
{
    QVERIFY(isLoadable(m_good));
    m_good.tensors.front().weights.chop(1); // weights are not checked
    QVERIFY(isLoadable(m_good));
}

void tst_ModelFile::keysAndTensorsAreCounted_data()
{
    QTest::addColumn<std::size_t>("keys");
    QTest::addColumn<std::size_t>("tensors");
    QTest::addColumn<bool>("loadable");
    QTest::newRow("as many keys as may be") << std::size_t{4096} << std::size_t{20} << true;
    QTest::newRow("a key more") << std::size_t{4097} << std::size_t{20} << false;
    QTest::newRow("as many tensors as may be") << std::size_t{30} << std::size_t{8192} << true;
    QTest::newRow("a tensor more") << std::size_t{30} << std::size_t{8193} << false;
}

void tst_ModelFile::keysAndTensorsAreCounted()
{
    QFETCH(const std::size_t, keys);
    QFETCH(const std::size_t, tensors);
    QFETCH(const bool, loadable);
    GgufFile file = m_good;
    while (file.keys.size() < keys) {
        const auto number = QByteArray::number(static_cast<int>(file.keys.size()));
        file.keys.push_back({"key." + number, GGUF_TYPE_UINT8, "x"});
    }
    while (file.tensors.size() < tensors) {
        const auto number = QByteArray::number(static_cast<int>(file.tensors.size()));
        file.tensors.push_back({"more." + number, {1}, GGML_TYPE_F32, "abcd"});
    }
    QCOMPARE(isLoadable(file), loadable);
}

// The library would allocate an array of a billion texts, 32 bytes each, for a sparse file.
void tst_ModelFile::theMetadataHasALimit()
{
    constexpr qsizetype bound = qsizetype{64} * 1024 * 1024;
    GgufFile file = m_good;
    const auto front = [&] {
        GgufFile withoutWeights = file;
        for (GgufFile::Tensor &each : withoutWeights.tensors)
            each.weights.clear();
        return withoutWeights.bytes().size();
    };
    file.set("filler", GGUF_TYPE_STRING, GgufFile::text(""));
    const qsizetype room = bound - front();
    file.set("filler", GGUF_TYPE_STRING, GgufFile::text(QByteArray(room, 'x')));
    QVERIFY(isLoadable(file));
    file.set("filler", GGUF_TYPE_STRING, GgufFile::text(QByteArray(room + 32, 'x')));
    QVERIFY(!isLoadable(file));

    const QString path = m_folder.filePath(u"sparse.gguf"_s);
    QFile sparse(path);
    QVERIFY(sparse.open(QIODevice::WriteOnly));
    GgufFile texts;
    texts.set("texts", GGUF_TYPE_ARRAY,
              GgufFile::plain(std::uint32_t{GGUF_TYPE_STRING}) +
                  GgufFile::plain(std::uint64_t{1'000'000'000}));
    QVERIFY(sparse.write(texts.bytes()) > 0);
    QVERIFY(sparse.resize(9'000'000'000));
    sparse.close();
    QVERIFY(!isLoadable(path));
}

void tst_ModelFile::onlyComputableWeightsAreLoadable_data()
{
    QTest::addColumn<std::uint32_t>("type");
    QTest::addColumn<bool>("loadable");
    const auto row = [](const char *name, ggml_type type, bool loadable) {
        QTest::newRow(name) << static_cast<std::uint32_t>(type) << loadable;
    };
    row("single precision", GGML_TYPE_F32, true);
    row("half precision", GGML_TYPE_F16, true);
    row("brain floats", GGML_TYPE_BF16, true);
    row("8 bits", GGML_TYPE_Q8_0, true);
    row("4 bits", GGML_TYPE_Q4_0, true);
    row("4 bits in large blocks", GGML_TYPE_Q4_K, true);
    row("double precision", GGML_TYPE_F64, false);
    row("integers of 8 bits", GGML_TYPE_I8, false);
    row("integers of 16 bits", GGML_TYPE_I16, false);
    row("integers of 32 bits", GGML_TYPE_I32, false);
    row("integers of 64 bits", GGML_TYPE_I64, false);
    row("what is only multiplied with 4 bits", GGML_TYPE_Q8_1, false);
    row("what is only multiplied with large blocks", GGML_TYPE_Q8_K, false);
}

void tst_ModelFile::onlyComputableWeightsAreLoadable()
{
    QFETCH(const std::uint32_t, type);
    QFETCH(const bool, loadable);
    GgufFile file = m_good;
    GgufFile::Tensor &last = file.tensors.back();
    last.type = type;
    last.dimensions = {256, 2};
    QCOMPARE(isLoadable(file), loadable);
}

void tst_ModelFile::splitModelsAreNotLoadable_data()
{
    QTest::addColumn<std::uint32_t>("type");
    QTest::addColumn<QByteArray>("count");
    QTest::addColumn<bool>("loadable");
    const auto u16 = [](std::uint16_t count) { return GgufFile::plain(count); };
    QTest::newRow("whole") << std::uint32_t{GGUF_TYPE_UINT16} << u16(1) << true;
    QTest::newRow("two parts") << std::uint32_t{GGUF_TYPE_UINT16} << u16(2) << false;
    QTest::newRow("another type") << std::uint32_t{GGUF_TYPE_BOOL} << QByteArray("\1") << false;
}

void tst_ModelFile::splitModelsAreNotLoadable()
{
    QFETCH(const std::uint32_t, type);
    QFETCH(const QByteArray, count);
    QFETCH(const bool, loadable);
    GgufFile file = m_good;
    file.set("split.count", type, count);
    QCOMPARE(isLoadable(file), loadable);
}

void tst_ModelFile::aTokenizerThatNeverEndsIsNotLoadable_data()
{
    QTest::addColumn<QByteArray>("name");
    QTest::addColumn<bool>("loadable");
    QTest::newRow("without an end") << QByteArray("rwkv") << false;
    QTest::newRow("the same for the library") << QByteArray("rwkv\0x", 6) << false;
    QTest::newRow("another") << QByteArray("llama") << true;
}

void tst_ModelFile::aTokenizerThatNeverEndsIsNotLoadable()
{
    QFETCH(const QByteArray, name);
    QFETCH(const bool, loadable);
    GgufFile file = m_good;
    file.set("tokenizer.ggml.model", GGUF_TYPE_STRING, GgufFile::text(name));
    QCOMPARE(isLoadable(file), loadable);
}

void tst_ModelFile::onlyRegularFilesAreLoadable()
{
    QVERIFY(!isLoadable(m_folder.path()));
    QVERIFY(!isLoadable(u"/dev/zero"_s));
    const QString pipe = m_folder.filePath(u"pipe.gguf"_s);
    QCOMPARE(mkfifo(QFile::encodeName(pipe).constData(), 0600), 0);
    QVERIFY(!isLoadable(pipe));
    const QString link = m_folder.filePath(u"link.gguf"_s);
    QVERIFY(QFile::link(m_folder.filePath(u"good.gguf"_s), link));
    QVERIFY(isLoadable(link));
}

QTEST_GUILESS_MAIN(tst_ModelFile)
#include "tst_ModelFile.moc"
