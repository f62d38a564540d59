#include "inference/LlamaEngine.h"

#include "inference/ChatMl.h"
#include "tests/support/Awaited.h"
#include "tests/support/TestModel.h"

#include <QCoro/QCoroTask>
#include <QDir>
#include <QTemporaryDir>
#include <QTest>
#include <QThread>
#include <QTimer>

#include <llama.h>

#include <atomic>
#include <mutex>
#include <thread>

using namespace Qt::StringLiterals;

// All tests decode a real model file that the test writes.
class tst_LlamaEngine : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void startsWithoutAModel();
    void repliesThroughTheChatTemplate_data();
    void repliesThroughTheChatTemplate();
    void givesRepliesOneAfterTheOther();
    void decodesTheFormattedConversation_data();
    void decodesTheFormattedConversation();
    void stopsAtTheEndOfGeneration();
    void stopsAtMaxTokens_data();
    void stopsAtMaxTokens();
    void returnsAnEmptyTextForZeroTokens_data();
    void returnsAnEmptyTextForZeroTokens();
    void keepsAPromptThatFits();
    void cutsTheMiddleOutOfALongPrompt_data();
    void cutsTheMiddleOutOfALongPrompt();
    void refusesTooSmallABudget_data();
    void refusesTooSmallABudget();
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

private:
    [[nodiscard]] QString written(const TestModel &model);
    void load(LlamaEngine &engine, const TestModel &model);

    std::unique_ptr<QTemporaryDir> m_folder;
    int m_files = 0;
};

namespace {
QList<ChatMessage> asking(const QString &task)
{
    return {{Role::system, u"You act."_s}, {Role::user, task}};
}

QByteArray promptWithHeaders(const QList<ChatMessage> &conversation)
{
    QString prompt;
    for (const ChatMessage &message : conversation) {
        prompt += u"<|start_header_id|>"_s + rawText(message.role) + u"<|end_header_id|>\n\n"_s +
                  message.content + u"<|eot_id|>"_s;
    }
    return (prompt + u"<|start_header_id|>assistant<|end_header_id|>\n\n"_s).toUtf8();
}

struct Heard
{
    QStringList pieces;
    QString text;
};

// The reply, and the pieces that the callback received.
Heard hear(LlamaEngine &engine, const QList<ChatMessage> &conversation, int maxTokens = 200)
{
    Heard heard;
    InferenceEngine::OnToken onToken = [&](const QString &piece) { heard.pieces << piece; };
    const auto reply = awaited(engine.generate(conversation, maxTokens, std::move(onToken)));
    heard.text = reply.value.value_or(reply.error ? u"error: "_s + reply.error->description()
                                                  : u"no outcome"_s);
    return heard;
}

QString reply(LlamaEngine &engine, const QList<ChatMessage> &conversation, int maxTokens = 200)
{
    return hear(engine, conversation, maxTokens).text;
}

// The tokens before the content in the prompt of one user message: <|im_start|> u s e r \n
constexpr qsizetype contentBegins = 6;

// A prompt of that many tokens: one for each byte and for each marker.
QList<ChatMessage> conversationOfTokens(qsizetype count)
{
    constexpr qsizetype contentFollows = 13; // <|im_end|> \n <|im_start|> a s s i s t a n t \n
    return {{Role::user, QString(count - contentBegins - contentFollows, u'x')}};
}

// The same with the phrase, which is one token, at that position of the prompt.
QList<ChatMessage> conversationWithPhrase(qsizetype count, qsizetype at)
{
    QList<ChatMessage> conversation = conversationOfTokens(count - 1);
    conversation[0].content.insert(at - contentBegins, u"the hidden phrase"_s);
    return conversation;
}

// The file's tokenizer without the engine.
class Tokenizer
{
public:
    explicit Tokenizer(const QString &path)
    {
        llama_model_params params = llama_model_default_params();
        params.vocab_only = true;
        m_model.reset(llama_model_load_from_file(path.toUtf8().constData(), params));
    }

    [[nodiscard]] std::vector<llama_token> tokens(const QByteArray &text,
                                                  bool addSpecial = true) const
    {
        std::vector<llama_token> result(std::size_t(text.size()) + 16);
        const int count =
            llama_tokenize(llama_model_get_vocab(m_model.get()), text.constData(), int(text.size()),
                           result.data(), int(result.size()), addSpecial, true);
        result.resize(std::size_t(count));
        return result;
    }

    [[nodiscard]] llama_token tokenOf(const QByteArray &text) const
    {
        return tokens(text, false).front();
    }

private:
    struct Free
    {
        void operator()(llama_model *model) const { llama_model_free(model); }
    };
    std::unique_ptr<llama_model, Free> m_model;
};

int openFiles()
{
    return int(QDir(u"/dev/fd"_s).entryList(QDir::NoDotAndDotDot | QDir::AllEntries).size());
}
} // namespace

void tst_LlamaEngine::init()
{
    m_folder = std::make_unique<QTemporaryDir>();
    QVERIFY(m_folder->isValid());
}

QString tst_LlamaEngine::written(const TestModel &model)
{
    const QString path = m_folder->filePath(u"größer %1.gguf"_s.arg(++m_files));
    model.write(path);
    return path;
}

void tst_LlamaEngine::load(LlamaEngine &engine, const TestModel &model)
{
    const auto error = awaitedError(engine.load(written(model)));
    QVERIFY2(!error, error ? error->what() : "");
    QVERIFY(engine.isLoaded());
}

void tst_LlamaEngine::startsWithoutAModel()
{
    const LlamaEngine engine;
    QVERIFY(!engine.isLoaded());
}

void tst_LlamaEngine::repliesThroughTheChatTemplate_data()
{
    QTest::addColumn<QByteArray>("chatTemplate");
    QTest::addColumn<bool>("addsStartToken");

    for (const bool start : {false, true}) {
        const char *with = start ? "with start token" : "without start token";
        QTest::addRow("its own, %s", with) << TestModel::chatMl() << start;
        QTest::addRow("its own with headers, %s", with) << TestModel::withHeaders() << start;
        QTest::addRow("none, %s", with) << QByteArray() << start;
        QTest::addRow("an unknown one, %s", with) << TestModel::unknownTemplate() << start;
    }
}

void tst_LlamaEngine::repliesThroughTheChatTemplate()
{
    QFETCH(QByteArray, chatTemplate);
    QFETCH(bool, addsStartToken);

    TestModel model = TestModel::saying({R"({"action":"done","summary":"Ready."})"});
    model.addsStartToken = addsStartToken;
    model.chatTemplate.reset();
    if (!chatTemplate.isEmpty())
        model.chatTemplate = chatTemplate;
    LlamaEngine engine;
    load(engine, model);
    QCOMPARE(reply(engine, asking(u"Hello"_s)), uR"({"action":"done","summary":"Ready."})"_s);
}

void tst_LlamaEngine::givesRepliesOneAfterTheOther()
{
    QList<QByteArray> texts;
    for (int step = 1; step <= 12; ++step) {
        texts << R"({"action":"find_files","args":{"name":"report )" + QByteArray::number(step) +
                     R"(.pdf","folder":"Downloads"}})";
    }
    texts << R"({"action":"done","summary":"Größe 😀"})";
    LlamaEngine engine;
    load(engine, TestModel::saying(texts));

    QList<ChatMessage> conversation = asking(u"Find it"_s);
    for (const QByteArray &text : texts) {
        const QString said = reply(engine, conversation);
        QCOMPARE(said, QString::fromUtf8(text));
        conversation << ChatMessage{Role::assistant, said}
                     << ChatMessage{Role::user, u"Result: found\nState: idle"_s};
    }
    QCOMPARE(reply(engine, conversation), QString::fromUtf8(texts.last()));
    // A new conversation starts with the first reply.
    QCOMPARE(reply(engine, asking(u"Again"_s)), QString::fromUtf8(texts.first()));
}

void tst_LlamaEngine::decodesTheFormattedConversation_data()
{
    repliesThroughTheChatTemplate_data();
}

// Checks the formatted prompt by the reply: if a prompt is one token too long, the token in its
// middle is cut out. So the phrase is put at the middle of the expected prompt.
void tst_LlamaEngine::decodesTheFormattedConversation()
{
    QFETCH(QByteArray, chatTemplate);
    QFETCH(bool, addsStartToken);

    TestModel model = TestModel::saying({"the hidden phrase", "Seen it."});
    model.addsStartToken = addsStartToken;
    model.chatTemplate.reset();
    if (!chatTemplate.isEmpty())
        model.chatTemplate = chatTemplate;
    const QString path = written(model);
    const Tokenizer tokenizer(path);

    QList<ChatMessage> conversation;
    int count = 0;
    for (int before = 0; before < 200; ++before) {
        conversation = {{Role::system, u"größer"_s},
                        {Role::user, u"a\n<|im_start|> b"_s},
                        {Role::assistant, QString(before, u'x') + u"the hidden phrase"_s},
                        {Role::user, QString(300 - before, u'x')}};
        const std::vector<llama_token> tokens = tokenizer.tokens(
            chatTemplate == TestModel::withHeaders() ? promptWithHeaders(conversation)
                                                     : chatMlPrompt(conversation));
        count = int(tokens.size());
        if (tokens[(tokens.size() - 1) / 2] == tokenizer.tokenOf("the hidden phrase"))
            break;
        count = 0;
    }
    QVERIFY(count > 65);

    LlamaEngine engine;
    QVERIFY(!awaitedError(engine.load(path)));
    QCOMPARE(reply(engine, conversation, 4096 - count), u"Seen it."_s);
    QCOMPARE(reply(engine, conversation, 4096 - count + 1), u"the hidden phrase"_s);
}

void tst_LlamaEngine::stopsAtTheEndOfGeneration()
{
    LlamaEngine engine;
    load(engine, TestModel::saying({"one two three four five"}));
    const Heard heard = hear(engine, asking(u"Count"_s), 4000);
    QCOMPARE(heard.text, u"one two three four five"_s);
    // The end has no text: 23 bytes in pieces of six.
    QCOMPARE(heard.pieces.size(), 4);
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
    QFETCH(int, maxTokens);
    QFETCH(int, pieces);

    TestModel::Reply counting;
    for (int i = 0; i < 250; ++i)
        counting.pieces << QByteArray::number(10000 + i) + ' ';
    TestModel model;
    model.replies << counting;
    LlamaEngine engine;
    load(engine, model);

    const Heard heard = hear(engine, asking(u"Count"_s), maxTokens);
    QCOMPARE(heard.pieces.size(), pieces);
    QString expected;
    for (int i = 0; i < pieces; ++i)
        expected += QString::number(10000 + i) + u' ';
    QCOMPARE(heard.text, expected);
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
    QFETCH(int, maxTokens);

    LlamaEngine engine;
    load(engine, TestModel::saying({"Hello there."}));
    const Heard heard = hear(engine, asking(u"Hello"_s), maxTokens);
    QCOMPARE(heard.text, QString());
    QCOMPARE(heard.pieces, QStringList());
    QCOMPARE(reply(engine, asking(u"Hello"_s)), u"Hello there."_s);
}

// The model gives its second reply only if the prompt contains the whole text of the first one. So
// the reply tells what was kept of a prompt.
void tst_LlamaEngine::keepsAPromptThatFits()
{
    LlamaEngine engine;
    load(engine, TestModel::saying({"the hidden phrase", "Seen it."}));
    QCOMPARE(reply(engine, conversationWithPhrase(4096 - 256, 900), 256), u"Seen it."_s);
    // One token more, and the middle is gone.
    QCOMPARE(reply(engine, conversationWithPhrase(4096 - 256 + 1, 900), 256),
             u"the hidden phrase"_s);
}

void tst_LlamaEngine::cutsTheMiddleOutOfALongPrompt_data()
{
    QTest::addColumn<int>("at"); // the position of the phrase in a prompt of 5,000 tokens
    QTest::addColumn<bool>("kept");

    QTest::newRow("last token of the head") << 899 << true;
    QTest::newRow("first token behind the head") << 900 << false;
    QTest::newRow("the middle") << 1500 << false;
    QTest::newRow("last token before the tail") << 5000 - 2941 << false;
    QTest::newRow("first token of the tail") << 5000 - 2940 << true;
    QTest::newRow("near the end") << 4900 << true;
}

void tst_LlamaEngine::cutsTheMiddleOutOfALongPrompt()
{
    QFETCH(int, at);
    QFETCH(bool, kept);

    LlamaEngine engine;
    load(engine, TestModel::saying({"the hidden phrase", "Seen it."}));
    QCOMPARE(reply(engine, conversationWithPhrase(5000, at), 256),
             kept ? u"Seen it."_s : u"the hidden phrase"_s);
}

void tst_LlamaEngine::refusesTooSmallABudget_data()
{
    QTest::addColumn<int>("tokens");
    QTest::addColumn<int>("maxTokens");

    QTest::newRow("64 tokens of room") << 65 << 4032;
    QTest::newRow("no room") << 100 << 4096;
    QTest::newRow("less than no room") << 100 << 10000;
    QTest::newRow("a long prompt") << 9000 << 4032;
}

void tst_LlamaEngine::refusesTooSmallABudget()
{
    QFETCH(int, tokens);
    QFETCH(int, maxTokens);

    LlamaEngine engine;
    load(engine, TestModel::saying({"Hello there."}));
    QCOMPARE(reply(engine, conversationOfTokens(tokens), maxTokens),
             u"error: Couldn't tokenize the prompt."_s);
    QVERIFY(engine.isLoaded());
    QCOMPARE(reply(engine, conversationOfTokens(64), 4032), u"Hello there."_s);
}

void tst_LlamaEngine::passesOnlyCompleteCharactersToTheCallback()
{
    TestModel model;
    model.replies << TestModel::Reply{{},
                                      {"Hi \xf0\x9f", "\x98\x80", "!!", "\xe2", "\x82", "\xac."}};
    LlamaEngine engine;
    load(engine, model);
    const Heard heard = hear(engine, asking(u"Smile"_s));
    QCOMPARE(heard.pieces, (QStringList{u"Hi 😀"_s, u"!!"_s, u"€."_s}));
    QCOMPARE(heard.text, u"Hi 😀!!€."_s);
}

void tst_LlamaEngine::passesEmptyPiecesToTheCallback()
{
    TestModel model;
    // The third control token is inside a character, so no text is complete.
    model.replies << TestModel::Reply{{}, {"", "Hello", "", "\xc3", "", "\xa4"}};
    LlamaEngine engine;
    load(engine, model);
    const Heard heard = hear(engine, asking(u"Hello"_s));
    QCOMPARE(heard.pieces, (QStringList{u""_s, u"Hello"_s, u""_s, u"ä"_s}));
    QCOMPARE(heard.text, u"Helloä"_s);
}

void tst_LlamaEngine::dropsTooLongPieces()
{
    const QByteArray longest(64, 'a');
    TestModel model;
    model.replies << TestModel::Reply{{}, {"<<", longest, "||", QByteArray(65, 'b'), ">>"}};
    LlamaEngine engine;
    load(engine, model);
    const Heard heard = hear(engine, asking(u"Hello"_s));
    QCOMPARE(heard.text, u"<<%1||>>"_s.arg(QString::fromLatin1(longest)));
    QCOMPARE(heard.pieces,
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
    QStringList heard;
    std::mutex lock;
    const auto listener = [&](const QString &name) -> InferenceEngine::OnToken {
        return [&heard, &lock, name](const QString &) {
            const std::scoped_lock guard(lock);
            heard << name;
        };
    };
    QList<ChatMessage> later = asking(u"Hello"_s);
    later << ChatMessage{Role::assistant, u"one two three four"_s}
          << ChatMessage{Role::user, u"?"_s};
    QCoro::Task<QString> first = engine.generate(asking(u"Hello"_s), 200, listener(u"first"_s));
    QCoro::Task<QString> second = engine.generate(later, 200, listener(u"second"_s));
    QCOMPARE(awaited(std::move(second)).value, u"five six seven eight"_s);
    QCOMPARE(awaited(std::move(first)).value, u"one two three four"_s);
    QCOMPARE(heard.count(u"first"_s), 3);
    QCOMPARE(heard.count(u"second"_s), 4);
    QVERIFY(heard.lastIndexOf(u"first"_s) < heard.indexOf(u"second"_s));
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
