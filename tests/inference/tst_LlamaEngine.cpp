#include "tests/inference/LlamaEngineFixture.h"
#include "tests/support/Waiting.h"

#include <QDir>
#include <QFile>
#include <QThread>
#include <QTimer>

#include <atomic>
#include <mutex>
#include <thread>

using namespace Qt::StringLiterals;

class tst_LlamaEngine : public LlamaEngineFixture
{
    Q_OBJECT

private Q_SLOTS:
    void startsWithoutAModel();
    void stopsAtTheEndOfGeneration();
    void stopsAtMaxTokens_data();
    void stopsAtMaxTokens();
    void returnsAnEmptyTextForZeroTokens_data();
    void returnsAnEmptyTextForZeroTokens();
    void passesOnlyCompleteCharactersToTheCallback();
    void passesEmptyPiecesToTheCallback();
    void dropsTooLongPieces();
    void returnsTheReplyUnchanged();
    void callsBackOnItsOwnThread();
    void generatesWithoutACallback();
    void generatesOneAfterTheOther();
    void keepsTheEventLoopAlive();
    void failsWithoutAModel();
    void unloadWaitsForTheGeneration();
    void loadsAnotherModel();
    void aFailedLoadLeavesNoModel();
    void survivesATruncatedFile_data();
    void survivesATruncatedFile();
    void detectsAChangedFile();
    void theFileCanBeReplacedByRenaming();
    void loadsManyTimesWithoutLeaking();
    void theDestructorWaitsForTheGeneration();
    void theDestructorRefusesWaitingOperations();
};

namespace {
int openFiles()
{
    return int(QDir(u"/dev/fd"_s).entryList(QDir::NoDotAndDotDot | QDir::AllEntries).size());
}
} // namespace

void tst_LlamaEngine::startsWithoutAModel()
{
    const LlamaEngine engine;
    QVERIFY(!engine.isLoaded());
}

void tst_LlamaEngine::stopsAtTheEndOfGeneration()
{
    LlamaEngine engine;
    load(engine, TestModel::saying({"one two three four five"}));
    const Generation generation = generate(engine, asking(u"Count"_s), 4000);
    QCOMPARE(generation.text, u"one two three four five"_s);
    // The end has no text: 23 bytes in pieces of six.
    QCOMPARE(generation.pieces.size(), 4);
}

void tst_LlamaEngine::stopsAtMaxTokens_data()
{
    QTest::addColumn<int>("maxTokens");
    QTest::addColumn<int>("pieces");

    QTest::newRow("one token") << 1 << 1;
    QTest::newRow("some") << 7 << 7;
    QTest::newRow("the agent's limit") << 200 << 200;
    QTest::newRow("more than the reply has") << 1000 << 250;
}

void tst_LlamaEngine::stopsAtMaxTokens()
{
    QFETCH(const int, maxTokens);
    QFETCH(const int, pieces);

    TestModel::Reply counting;
    for (int i = 0; i < 250; ++i)
        counting.pieces << QByteArray::number(10000 + i) + ' ';
    TestModel model;
    model.replies << counting;
    LlamaEngine engine;
    load(engine, model);

    const Generation generation = generate(engine, asking(u"Count"_s), maxTokens);
    QCOMPARE(generation.pieces.size(), pieces);
    QString expected;
    for (int i = 0; i < pieces; ++i)
        expected += QString::number(10000 + i) + u' ';
    QCOMPARE(generation.text, expected);
}

void tst_LlamaEngine::returnsAnEmptyTextForZeroTokens_data()
{
    QTest::addColumn<int>("maxTokens");
    QTest::newRow("none") << 0;
    QTest::newRow("fewer than none") << -1;
    QTest::newRow("the least") << std::numeric_limits<int>::min();
}

void tst_LlamaEngine::returnsAnEmptyTextForZeroTokens()
{
    QFETCH(const int, maxTokens);

    LlamaEngine engine;
    load(engine, TestModel::saying({"Hello there."}));
    const Generation generation = generate(engine, asking(u"Hello"_s), maxTokens);
    QCOMPARE(generation.text, QString());
    QCOMPARE(generation.pieces, QStringList());
    QCOMPARE(reply(engine, asking(u"Hello"_s)), u"Hello there."_s);
}

void tst_LlamaEngine::passesOnlyCompleteCharactersToTheCallback()
{
    TestModel model;
    model.replies << TestModel::Reply{{},
                                      {"Hi \xf0\x9f", "\x98\x80", "!!", "\xe2", "\x82", "\xac."}};
    LlamaEngine engine;
    load(engine, model);
    const Generation generation = generate(engine, asking(u"Smile"_s));
    QCOMPARE(generation.pieces, (QStringList{u"Hi 😀"_s, u"!!"_s, u"€."_s}));
    QCOMPARE(generation.text, u"Hi 😀!!€."_s);
}

void tst_LlamaEngine::passesEmptyPiecesToTheCallback()
{
    TestModel model;
    // The third control token is inside a character, so no text is complete.
    model.replies << TestModel::Reply{{}, {"", "Hello", "", "\xc3", "", "\xa4"}};
    LlamaEngine engine;
    load(engine, model);
    const Generation generation = generate(engine, asking(u"Hello"_s));
    QCOMPARE(generation.pieces, (QStringList{u""_s, u"Hello"_s, u""_s, u"ä"_s}));
    QCOMPARE(generation.text, u"Helloä"_s);
}

void tst_LlamaEngine::dropsTooLongPieces()
{
    const QByteArray longest(64, 'a');
    TestModel model;
    model.replies << TestModel::Reply{{}, {"<<", longest, "||", QByteArray(65, 'b'), ">>"}};
    LlamaEngine engine;
    load(engine, model);
    const Generation generation = generate(engine, asking(u"Hello"_s));
    QCOMPARE(generation.text, u"<<%1||>>"_s.arg(QString::fromLatin1(longest)));
    QCOMPARE(generation.pieces,
             (QStringList{u"<<"_s, QString::fromLatin1(longest), u"||"_s, u""_s, u">>"_s}));
}

void tst_LlamaEngine::returnsTheReplyUnchanged()
{
    LlamaEngine engine;
    load(engine, TestModel::saying({"  \n {\"a\": 1} \n<|im_end|> User: \n\n "}));
    QCOMPARE(reply(engine, asking(u"Hello"_s)), u"  \n {\"a\": 1} \n<|im_end|> User: \n\n "_s);
}

void tst_LlamaEngine::callsBackOnItsOwnThread()
{
    LlamaEngine engine;
    load(engine, TestModel::saying({"one two three four five"}));
    std::vector<std::thread::id> threads;
    QString together;
    InferenceEngine::OnToken onToken = [&](const QString &piece) {
        threads.push_back(std::this_thread::get_id());
        together += piece;
    };
    const auto outcome = awaited(engine.generate(asking(u"Hello"_s), 200, std::move(onToken)));
    QCOMPARE(outcome.value.value_or(QString()), together);
    QCOMPARE(threads.size(), std::size_t(4));
    for (const std::thread::id id : threads) {
        QVERIFY(id == threads.front());
        QVERIFY(id != std::this_thread::get_id());
    }
}

void tst_LlamaEngine::generatesWithoutACallback()
{
    LlamaEngine engine;
    load(engine, TestModel::saying({"Hello there."}));
    QCOMPARE(awaited(engine.generate(asking(u"Hello"_s), 200, {})).value, u"Hello there."_s);
}

void tst_LlamaEngine::generatesOneAfterTheOther()
{
    LlamaEngine engine;
    load(engine, TestModel::saying({"one two three four", "five six seven eight"}));
    QStringList callers;
    std::mutex lock;
    const auto listener = [&](const QString &name) -> InferenceEngine::OnToken {
        return [&callers, &lock, name](const QString &) {
            const std::scoped_lock guard(lock);
            callers << name;
        };
    };
    QList<ChatMessage> later = asking(u"Hello"_s);
    later << ChatMessage{Role::assistant, u"one two three four"_s}
          << ChatMessage{Role::user, u"?"_s};
    QCoro::Task<QString> first = engine.generate(asking(u"Hello"_s), 200, listener(u"first"_s));
    QCoro::Task<QString> second = engine.generate(later, 200, listener(u"second"_s));
    QCOMPARE(awaited(std::move(second)).value, u"five six seven eight"_s);
    QCOMPARE(awaited(std::move(first)).value, u"one two three four"_s);
    QCOMPARE(callers.count(u"first"_s), 3);
    QCOMPARE(callers.count(u"second"_s), 4);
    QVERIFY(callers.lastIndexOf(u"first"_s) < callers.indexOf(u"second"_s));
}

// The callback waits for the event loop, so the generation only ends if that runs.
void tst_LlamaEngine::keepsTheEventLoopAlive()
{
    LlamaEngine engine;
    load(engine, TestModel::saying({"one two three four five"}));
    std::atomic<bool> turned = false;
    InferenceEngine::OnToken onToken = [&](const QString &) { turned.wait(false); };
    QTimer::singleShot(0, this, [&] {
        turned = true;
        turned.notify_all();
    });
    const auto outcome = awaited(engine.generate(asking(u"Hello"_s), 200, std::move(onToken)));
    QCOMPARE(outcome.value, u"one two three four five"_s);
}

void tst_LlamaEngine::failsWithoutAModel()
{
    LlamaEngine engine;
    QCOMPARE(reply(engine, asking(u"Hello"_s)), u"error: The language model isn't loaded yet."_s);
    load(engine, TestModel::saying({"Hello there."}));
    engine.unload();
    QCOMPARE(reply(engine, asking(u"Hello"_s)), u"error: The language model isn't loaded yet."_s);
    QVERIFY(!engine.isLoaded());
    engine.unload();
    load(engine, TestModel::saying({"Hello there."}));
}

void tst_LlamaEngine::unloadWaitsForTheGeneration()
{
    LlamaEngine engine;
    load(engine, TestModel::saying({"one two three four five"}));
    std::atomic<bool> generating = false;
    std::atomic<bool> unloading = false;
    std::atomic<bool> loadedAllAlong = true;
    InferenceEngine::OnToken onToken = [&](const QString &) {
        generating = true;
        generating.notify_all();
        unloading.wait(false);
        if (!engine.isLoaded())
            loadedAllAlong = false;
    };
    QCoro::Task<QString> generation = engine.generate(asking(u"Hello"_s), 200, std::move(onToken));
    generating.wait(false);
    engine.unload();
    QVERIFY(engine.isLoaded());
    unloading = true;
    unloading.notify_all();
    QCOMPARE(awaited(std::move(generation)).value, u"one two three four five"_s);
    QTRY_VERIFY(!engine.isLoaded());
    QVERIFY(loadedAllAlong);
}

void tst_LlamaEngine::loadsAnotherModel()
{
    LlamaEngine engine;
    load(engine, TestModel::saying({"I am the first."}));
    load(engine, TestModel::saying({"I am the second."}));
    QCOMPARE(reply(engine, asking(u"Who?"_s)), u"I am the second."_s);
}

void tst_LlamaEngine::aFailedLoadLeavesNoModel()
{
    LlamaEngine engine;
    load(engine, TestModel::saying({"Hello there."}));
    const auto error = awaitedError(engine.load(m_folder->filePath(u"missing.gguf"_s)));
    QVERIFY(error == InferenceError(InferenceError::loadFailed));
    QVERIFY(!engine.isLoaded());
    QCOMPARE(reply(engine, asking(u"Hello"_s)), u"error: The language model isn't loaded yet."_s);
    load(engine, TestModel::saying({"Hello there."}));
}

void tst_LlamaEngine::survivesATruncatedFile_data()
{
    QTest::addColumn<double>("left");
    QTest::newRow("nothing is left") << 0.0;
    QTest::newRow("half is left") << 0.5;
    QTest::newRow("nearly all is left") << 0.9;
}

void tst_LlamaEngine::survivesATruncatedFile()
{
    QFETCH(const double, left);
    const TestModel model = TestModel::saying({"Hello there."});
    const QString path = written(model);
    LlamaEngine engine;
    QVERIFY(!awaitedError(engine.load(path)));
    QCOMPARE(reply(engine, asking(u"Hello"_s)), u"Hello there."_s);

    // As when another file is copied over it.
    QFile file(path);
    QVERIFY(file.resize(static_cast<qint64>(left * static_cast<double>(file.size()))));
    QCOMPARE(reply(engine, asking(u"Hello"_s)),
             u"error: "_s + InferenceError(InferenceError::decodeFailed).description());
    QVERIFY(!engine.isLoaded());
    QVERIFY(awaitedError(engine.load(path)));

    model.write(path);
    QVERIFY(!awaitedError(engine.load(path)));
    QCOMPARE(reply(engine, asking(u"Hello"_s)), u"Hello there."_s);
}

void tst_LlamaEngine::detectsAChangedFile()
{
    const QString path = written(TestModel::saying({"Hello there."}));
    LlamaEngine engine;
    QVERIFY(!awaitedError(engine.load(path)));
    // Without changing its length.
    QFile file(path);
    QVERIFY(file.open(QIODevice::ReadWrite));
    QVERIFY(file.seek(file.size() - 8) && file.write("12345678") == 8 && file.flush());
    QVERIFY(file.setFileTime(QDateTime::currentDateTime().addSecs(60),
                             QFileDevice::FileModificationTime));
    QCOMPARE(reply(engine, asking(u"Hello"_s)),
             u"error: "_s + InferenceError(InferenceError::decodeFailed).description());
    QVERIFY(!engine.isLoaded());
    QVERIFY(!awaitedError(engine.load(path)));
}

void tst_LlamaEngine::theFileCanBeReplacedByRenaming()
{
    const QString path = written(TestModel::saying({"Hello there."}));
    const QString next = written(TestModel::saying({"Good evening."}));
    LlamaEngine engine;
    QVERIFY(!awaitedError(engine.load(path)));
    QVERIFY(QFile::remove(path) && QFile::rename(next, path));
    QCOMPARE(reply(engine, asking(u"Hello"_s)), u"Hello there."_s);
    QVERIFY(!awaitedError(engine.load(path)));
    QCOMPARE(reply(engine, asking(u"Hello"_s)), u"Good evening."_s);
}

void tst_LlamaEngine::loadsManyTimesWithoutLeaking()
{
    const QString path = written(TestModel::saying({"Hello there."}));
    const QString missing = m_folder->filePath(u"missing.gguf"_s);
    LlamaEngine engine;
    const auto loadBoth = [&] {
        QVERIFY(awaitedError(engine.load(missing)));
        QVERIFY(!awaitedError(engine.load(path)));
    };
    loadBoth();
    const int before = openFiles();
    for (int i = 0; i < 20; ++i)
        loadBoth();
    QCOMPARE(openFiles(), before);
}

void tst_LlamaEngine::theDestructorWaitsForTheGeneration()
{
    QCoro::Task<QString> generation;
    std::atomic<int> pieces = 0;
    {
        LlamaEngine engine;
        load(engine, TestModel::saying({"one two three four five"}));
        InferenceEngine::OnToken onToken = [&](const QString &) {
            ++pieces;
            pieces.notify_all();
        };
        generation = engine.generate(asking(u"Hello"_s), 200, std::move(onToken));
        pieces.wait(0);
    }
    QCOMPARE(pieces.load(), 4);
    QCOMPARE(awaited(std::move(generation)).value, u"one two three four five"_s);
}

void tst_LlamaEngine::theDestructorRefusesWaitingOperations()
{
    QCoro::Task<QString> running;
    QCoro::Task<QString> waiting;
    QCoro::Task<> loading;
    std::atomic<bool> begun = false;
    std::atomic<bool> release = false;
    const QString path = written(TestModel::saying({"Hello there."}));
    auto engine = std::make_unique<LlamaEngine>();
    QVERIFY(!awaitedError(engine->load(path)));
    InferenceEngine::OnToken onToken = [&](const QString &) {
        begun = true;
        begun.notify_all();
        release.wait(false);
    };
    running = engine->generate(asking(u"Hello"_s), 200, std::move(onToken));
    waiting = engine->generate(asking(u"Hello"_s), 200, {});
    loading = engine->load(path);
    begun.wait(false);
    // The destructor refuses waiting operations before it waits for the running one.
    std::thread releaser([&] {
        std::this_thread::yield();
        release = true;
        release.notify_all();
    });
    engine.reset();
    releaser.join();
    QCOMPARE(awaited(std::move(running)).value, u"Hello there."_s);
    const auto refused = awaited(std::move(waiting));
    QVERIFY(refused.value || refused.error == InferenceError(InferenceError::notLoaded));
    const auto loadError = awaitedError(std::move(loading));
    QVERIFY(!loadError || loadError == InferenceError(InferenceError::notLoaded));
}

QTEST_GUILESS_MAIN(tst_LlamaEngine)
#include "tst_LlamaEngine.moc"
