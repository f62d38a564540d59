#include "inference/LlamaEngine.h"

#include "tests/support/Awaited.h"
#include "tests/support/TestModel.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <gguf.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cmath>
#include <limits>
#include <random>

using namespace Qt::StringLiterals;

// Model files that are truncated, of another format, or hostile. Each must only fail, and the
// engine must be able to load a good file afterwards.
class tst_LlamaEngineBrokenModels : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void failsToLoad_data();
    void failsToLoad();
    void failsToLoadWhatIsNotAFile_data();
    void failsToLoadWhatIsNotAFile();
    void failsAtEveryTruncation();
    void survivesFlippedBits();
    void failsToCreateAContext();
    void failsWhileTokenizing();
    void survivesWeightsThatAreNotNumbers();
    void failsWhileGenerating_data();
    void failsWhileGenerating();
    void printsNothing();

private:
    void surviveLoading(const QString &path);

    QTemporaryDir m_folder;
    QByteArray m_good;
};

namespace {
QList<ChatMessage> hello()
{
    return {{Role::user, u"Hello"_s}};
}

using Change = std::function<void(gguf_context *)>;

QByteArray contents(const TestModel &model, const QTemporaryDir &folder)
{
    const QString path = folder.filePath(u"contents.gguf"_s);
    model.write(path);
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

TestModel changed(Change change)
{
    TestModel model = TestModel::saying({"Hello there."});
    model.adjust = std::move(change);
    return model;
}

Change number(const char *key, std::uint32_t value)
{
    return [=](gguf_context *file) { gguf_set_val_u32(file, key, value); };
}

Change real(const char *key, float value)
{
    return [=](gguf_context *file) { gguf_set_val_f32(file, key, value); };
}

Change text(const char *key, const char *value)
{
    return [=](gguf_context *file) { gguf_set_val_str(file, key, value); };
}

Change without(const char *key)
{
    return [=](gguf_context *file) { gguf_remove_key(file, key); };
}

Change tokens(std::vector<const char *> texts)
{
    return [=](gguf_context *file) mutable {
        gguf_set_arr_str(file, "tokenizer.ggml.tokens", texts.data(), texts.size());
    };
}

void duplicateTokens(gguf_context *file)
{
    const std::int64_t key = gguf_find_key(file, "tokenizer.ggml.tokens");
    const std::size_t count = gguf_get_arr_n(file, key);
    std::vector<std::string> texts;
    texts.reserve(count);
    for (std::size_t i = 0; i < count; ++i)
        texts.emplace_back(gguf_get_arr_str(file, key, i));
    texts[70] = texts[71];
    std::vector<const char *> pointers;
    pointers.reserve(count);
    for (const std::string &each : texts)
        pointers.push_back(each.c_str());
    gguf_set_arr_str(file, "tokenizer.ggml.tokens", pointers.data(), pointers.size());
}

// The count of a header field: 8 bytes, little-endian.
QByteArray withCount(QByteArray file, qsizetype at, std::uint64_t count)
{
    for (int byte = 0; byte < 8; ++byte)
        file[at + byte] = char(count >> (8 * byte));
    return file;
}

constexpr qsizetype tensorCountAt = 8;
constexpr qsizetype keyCountAt = 16;
constexpr qsizetype firstKeyLengthAt = 24;

// The name of a tensor is followed by its number of dimensions, the dimensions, its type and its
// offset; that of a key by its type and its value.
QByteArray withNumberBehind(QByteArray file, const QByteArray &name, qsizetype field, int size,
                            std::uint64_t value)
{
    const qsizetype at = file.indexOf(name) + name.size() + field;
    for (int byte = 0; byte < size; ++byte)
        file[at + byte] = char(value >> (8 * byte));
    return file;
}
} // namespace

void tst_LlamaEngineBrokenModels::initTestCase()
{
    m_good = contents(TestModel::saying({"Hello there."}), m_folder);
    QVERIFY(m_good.startsWith("GGUF"));
}

void tst_LlamaEngineBrokenModels::failsToLoad_data()
{
    QTest::addColumn<QByteArray>("file");

    const auto add = [&](const char *name, Change change) {
        QTest::newRow(name) << contents(changed(std::move(change)), m_folder);
    };
    const auto huge = std::numeric_limits<std::uint64_t>::max();
    QTest::newRow("empty") << QByteArray();
    QTest::newRow("zeros") << QByteArray(100'000, '\0');
    QTest::newRow("text") << QByteArray("<html><body>404 Not Found</body></html>\n");
    QTest::newRow("magic alone") << QByteArray("GGUF");
    QTest::newRow("unknown version")
        << QByteArray(m_good).replace(4, 4, QByteArray("\x63\0\0\0", 4));
    QTest::newRow("the oldest version")
        << QByteArray(m_good).replace(4, 4, QByteArray("\1\0\0\0", 4));
    QTest::newRow("other byte order")
        << QByteArray(m_good).replace(4, 4, QByteArray("\0\0\0\3", 4));
    QTest::newRow("no tensors") << withCount(m_good, tensorCountAt, 0);
    QTest::newRow("huge number of tensors") << withCount(m_good, tensorCountAt, huge);
    QTest::newRow("many tensors") << withCount(m_good, tensorCountAt, 1'000'000'000'000);
    QTest::newRow("huge number of keys") << withCount(m_good, keyCountAt, huge);
    QTest::newRow("many keys") << withCount(m_good, keyCountAt, 1'000'000'000);
    QTest::newRow("no keys") << withCount(m_good, keyCountAt, 0);
    QTest::newRow("huge key") << withCount(m_good, firstKeyLengthAt, huge);
    QTest::newRow("long key") << withCount(m_good, firstKeyLengthAt, 1ULL << 40);

    QTest::newRow("dimensions without end")
        << withNumberBehind(m_good, "token_embd.weight", 0, 4, 1000);
    QTest::newRow("dimension of zero") << withNumberBehind(m_good, "token_embd.weight", 4, 8, 0);
    QTest::newRow("negative dimension")
        << withNumberBehind(m_good, "token_embd.weight", 4, 8, huge);
    QTest::newRow("huge dimension")
        << withNumberBehind(m_good, "token_embd.weight", 4, 8, 1ULL << 62);
    QTest::newRow("wrong dimension") << withNumberBehind(m_good, "token_embd.weight", 4, 8, 16);
    QTest::newRow("wrong dimension of a norm")
        << withNumberBehind(m_good, "output_norm.weight", 4, 8, 7);
    QTest::newRow("unknown type") << withNumberBehind(m_good, "token_embd.weight", 20, 4, 999);
    QTest::newRow("another type") << withNumberBehind(m_good, "token_embd.weight", 20, 4, 24);
    QTest::newRow("offset past the end")
        << withNumberBehind(m_good, "output.weight", 24, 8, 1ULL << 40);
    QTest::newRow("offset that is not aligned")
        << withNumberBehind(m_good, "output.weight", 24, 8, 1);
    QTest::newRow("tensor missing") << QByteArray(m_good).replace("blk.0.attn_q.", "blk.0.attn_z.");
    QTest::newRow("tensor twice") << QByteArray(m_good).replace("blk.0.attn_q.", "blk.0.attn_k.");

    std::mt19937 random(20);
    QByteArray noise;
    for (int i = 0; i < 50'000; ++i)
        noise += char(random());
    QTest::newRow("random") << noise;
    QTest::newRow("random behind the magic") << QByteArray(noise).replace(0, 8, m_good.left(8));

    add("unknown architecture", text("general.architecture", "quux"));
    add("no architecture", without("general.architecture"));
    add("architecture of another type", number("general.architecture", 7));
    add("architecture of another model", text("general.architecture", "llama"));
    const QByteArray aligned = contents(changed(number("general.alignment", 64)), m_folder);
    QTest::newRow("absurd alignment") << withNumberBehind(aligned, "general.alignment", 4, 4, 3);
    QTest::newRow("no alignment") << withNumberBehind(aligned, "general.alignment", 4, 4, 0);
    add("no blocks", number("qwen2.block_count", 0));
    add("two blocks", number("qwen2.block_count", 2));
    add("1,000 blocks", number("qwen2.block_count", 1000));
    add("as many blocks as there are numbers", number("qwen2.block_count", 0xffffffffU));
    add("block count missing", without("qwen2.block_count"));
    add("block count of another type", real("qwen2.block_count", 1));
    add("no width", number("qwen2.embedding_length", 0));
    add("another width", number("qwen2.embedding_length", 64));
    add("huge width", number("qwen2.embedding_length", 0xffffffe0U));
    add("another number of heads", number("qwen2.attention.head_count", 7));
    add("huge number of heads", number("qwen2.attention.head_count", 0xffffffffU));
    add("more key heads than heads", number("qwen2.attention.head_count_kv", 3));
    add("another feed-forward width", number("qwen2.feed_forward_length", 33));
    add("context length missing", without("qwen2.context_length"));
    add("norm's epsilon missing", without("qwen2.attention.layer_norm_rms_epsilon"));
    add("tokenizer missing", without("tokenizer.ggml.model"));
    add("unknown tokenizer", text("tokenizer.ggml.model", "quux"));
    add("unknown pre-tokenizer", text("tokenizer.ggml.pre", "quux"));
    add("tokens missing", without("tokenizer.ggml.tokens"));
    add("tokens of another type", number("tokenizer.ggml.tokens", 5));
    add("merges missing", without("tokenizer.ggml.merges"));
    add("merges of another type", number("tokenizer.ggml.merges", 5));
    add("fewer tokens than rows", tokens({"a", "b", "c"}));
    add("duplicate tokens", duplicateTokens);
}

void tst_LlamaEngineBrokenModels::surviveLoading(const QString &path)
{
    LlamaEngine engine;
    const auto error = awaitedError(engine.load(path));
    QVERIFY2(error == InferenceError(InferenceError::loadFailed), qPrintable(path));
    QVERIFY(!engine.isLoaded());
}

void tst_LlamaEngineBrokenModels::failsToLoad()
{
    QFETCH(const QByteArray, file);

    const QString path = m_folder.filePath(u"broken.gguf"_s);
    QFile broken(path);
    QVERIFY(broken.open(QIODevice::WriteOnly));
    QCOMPARE(broken.write(file), file.size());
    broken.close();
    surviveLoading(path);

    const QString good = m_folder.filePath(u"good.gguf"_s);
    TestModel::saying({"Hello there."}).write(good);
    LlamaEngine engine;
    QVERIFY(awaitedError(engine.load(path)));
    QVERIFY(!awaitedError(engine.load(good)));
    QCOMPARE(awaited(engine.generate(hello(), 200, {})).value, u"Hello there."_s);
}

void tst_LlamaEngineBrokenModels::failsToLoadWhatIsNotAFile_data()
{
    QTest::addColumn<QString>("path");

    QTest::newRow("missing") << m_folder.filePath(u"missing.gguf"_s);
    QTest::newRow("folder") << m_folder.path();
    QTest::newRow("no path") << QString();
    QTest::newRow("no folder") << m_folder.filePath(u"missing/missing.gguf"_s);
    const QString pipe = m_folder.filePath(u"pipe.gguf"_s);
    QCOMPARE(mkfifo(qPrintable(pipe), 0600), 0);
    QTest::newRow("named pipe") << pipe;
    QTest::newRow("device") << u"/dev/zero"_s;
}

void tst_LlamaEngineBrokenModels::failsToLoadWhatIsNotAFile()
{
    QFETCH(const QString, path);
    surviveLoading(path);
}

void tst_LlamaEngineBrokenModels::failsAtEveryTruncation()
{
    const QString path = m_folder.filePath(u"cut.gguf"_s);
    LlamaEngine engine;
    const auto loadFirst = [&](qsizetype bytes) {
        QFile file(path);
        if (!file.open(QIODevice::WriteOnly) || file.write(m_good.first(bytes)) != bytes)
            qFatal("cannot write %s", qPrintable(path));
        file.close();
        return awaitedError(engine.load(path));
    };
    // Every offset of the header, then one in 97 of the keys and one in 997 of the weights.
    qsizetype step = 1;
    for (qsizetype bytes = 0; bytes < m_good.size(); bytes += step) {
        step = bytes < 300 ? 1 : bytes < 12'000 ? 97 : 997;
        QVERIFY2(loadFirst(bytes) == InferenceError(InferenceError::loadFailed),
                 qPrintable(QString::number(bytes)));
    }
    QVERIFY(loadFirst(m_good.size() - 1) == InferenceError(InferenceError::loadFailed));
    QVERIFY(!loadFirst(m_good.size()));
}

// A flipped bit may have any effect: the engine loads the file or fails, generates or fails, and
// can load the good file afterwards.
void tst_LlamaEngineBrokenModels::survivesFlippedBits()
{
    const QString path = m_folder.filePath(u"flipped.gguf"_s);
    const qsizetype weights = m_good.indexOf("output.weight") + 40;
    std::mt19937 random(7);
    int loaded = 0;
    for (int i = 0; i < 400; ++i) {
        QByteArray flipped = m_good;
        const auto bit = random() % (std::size_t(weights) * 8);
        flipped[qsizetype(bit / 8)] = char(flipped[qsizetype(bit / 8)] ^ (1 << (bit % 8)));
        QFile file(path);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(flipped);
        file.close();

        LlamaEngine engine;
        if (!awaitedError(engine.load(path))) {
            ++loaded;
            const auto outcome = awaited(engine.generate(hello(), 5, {}));
            QVERIFY(outcome.value || outcome.error);
        }
    }
    QVERIFY(loaded > 0 && loaded < 400);
    surviveLoading(m_folder.filePath(u"missing.gguf"_s));
}

// The file loads, but the library aborts when it builds the graph.
void tst_LlamaEngineBrokenModels::failsToCreateAContext()
{
    const QString path = m_folder.filePath(u"broken.gguf"_s);
    changed(number("qwen2.rope.dimension_count", 16)).write(path);
    LlamaEngine engine;
    QVERIFY(awaitedError(engine.load(path)) == InferenceError(InferenceError::contextFailed));
    QVERIFY(!engine.isLoaded());
    QVERIFY(awaited(engine.generate(hello(), 200, {})).error ==
            InferenceError(InferenceError::notLoaded));
}

// A model without a vocabulary: the library aborts when it tokenizes.
void tst_LlamaEngineBrokenModels::failsWhileTokenizing()
{
    const QString path = m_folder.filePath(u"broken.gguf"_s);
    changed([](gguf_context *file) {
        gguf_set_val_u32(
            file, "qwen2.vocab_size",
            std::uint32_t(gguf_get_arr_n(file, gguf_find_key(file, "tokenizer.ggml.tokens"))));
        gguf_set_val_str(file, "tokenizer.ggml.model", "none");
    }).write(path);
    LlamaEngine engine;
    QVERIFY(!awaitedError(engine.load(path)));
    for (int i = 0; i < 2; ++i) {
        QVERIFY(awaited(engine.generate(hello(), 200, {})).error ==
                InferenceError(InferenceError::tokenizeFailed));
        QVERIFY(engine.isLoaded());
    }
}

void tst_LlamaEngineBrokenModels::survivesWeightsThatAreNotNumbers()
{
    const QString path = m_folder.filePath(u"broken.gguf"_s);
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(m_good.chopped(16'000) + QByteArray(16'000, '\xff'));
    file.close();
    LlamaEngine engine;
    QVERIFY(!awaitedError(engine.load(path)));
    const auto outcome = awaited(engine.generate(hello(), 50, {}));
    QVERIFY(outcome.value || outcome.error);
}

void tst_LlamaEngineBrokenModels::failsWhileGenerating_data()
{
    QTest::addColumn<QByteArray>("file");

    constexpr float nan = std::numeric_limits<float>::quiet_NaN();
    const char *epsilon = "qwen2.attention.layer_norm_rms_epsilon";
    QTest::newRow("epsilon that is no number") << contents(changed(real(epsilon, nan)), m_folder);
    QTest::newRow("negative epsilon") << contents(changed(real(epsilon, -1)), m_folder);
}

// The library aborts while it computes on several threads. The model and the thread are lost, but
// the engine continues with another thread.
void tst_LlamaEngineBrokenModels::failsWhileGenerating()
{
    QFETCH(const QByteArray, file);

    const QString path = m_folder.filePath(u"broken.gguf"_s);
    QFile broken(path);
    QVERIFY(broken.open(QIODevice::WriteOnly));
    broken.write(file);
    broken.close();
    const QString good = m_folder.filePath(u"good.gguf"_s);
    TestModel::saying({"Hello there."}).write(good);

    LlamaEngine engine;
    // Several times, since a thread of a lost computation may abort during the next one.
    for (int round = 0; round < 10; ++round) {
        QVERIFY(!awaitedError(engine.load(path)));
        const auto outcome = awaited(engine.generate(hello(), 200, {}));
        QVERIFY(!outcome.value);
        QVERIFY(outcome.error == InferenceError(InferenceError::decodeFailed));
        QVERIFY(!engine.isLoaded());
        QVERIFY(awaited(engine.generate(hello(), 200, {})).error ==
                InferenceError(InferenceError::notLoaded));
        QVERIFY(!awaitedError(engine.load(good)));
        QCOMPARE(awaited(engine.generate(hello(), 200, {})).value, u"Hello there."_s);
    }
}

// All output of the library goes to our log, which is disabled.
void tst_LlamaEngineBrokenModels::printsNothing()
{
    const QString path = m_folder.filePath(u"broken.gguf"_s);
    changed(duplicateTokens).write(path);
    QFile heard(m_folder.filePath(u"stderr"_s));
    QVERIFY(heard.open(QIODevice::ReadWrite | QIODevice::Unbuffered));
    const int standardError = dup(STDERR_FILENO);
    dup2(heard.handle(), STDERR_FILENO);
    {
        LlamaEngine engine;
        const auto aborted = awaitedError(engine.load(path));
        const auto missing = awaitedError(engine.load(m_folder.filePath(u"missing.gguf"_s)));
        TestModel::saying({"Hello there."}).write(path);
        const auto none = awaitedError(engine.load(path));
        const auto generated = awaited(engine.generate(hello(), 200, {}));
        std::fflush(stderr);
        dup2(standardError, STDERR_FILENO);
        close(standardError);
        QVERIFY(aborted && missing && !none && generated.value);
    }
    heard.seek(0);
    QCOMPARE(heard.readAll(), QByteArray());
}

QTEST_GUILESS_MAIN(tst_LlamaEngineBrokenModels)
#include "tst_LlamaEngineBrokenModels.moc"
