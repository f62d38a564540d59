// How the engine makes a prompt of the conversation, and cuts it.

#include "inference/ChatMl.h"
#include "tests/inference/LlamaEngineFixture.h"

#include <llama.h>

#include <memory>
#include <vector>

using namespace Qt::StringLiterals;

namespace {
QByteArray promptWithHeaders(const QList<ChatMessage> &conversation)
{
    QString prompt;
    for (const ChatMessage &message : conversation) {
        prompt += u"<|start_header_id|>"_s + rawText(message.role) + u"<|end_header_id|>\n\n"_s +
                  message.content + u"<|eot_id|>"_s;
    }
    return (prompt + u"<|start_header_id|>assistant<|end_header_id|>\n\n"_s).toUtf8();
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
} // namespace

class tst_LlamaEnginePrompt : public LlamaEngineFixture
{
    Q_OBJECT

private Q_SLOTS:
    void repliesThroughTheChatTemplate_data();
    void repliesThroughTheChatTemplate();
    void givesRepliesOneAfterTheOther();
    void decodesTheFormattedConversation_data();
    void decodesTheFormattedConversation();
    void keepsAPromptThatFits();
    void cutsTheMiddleOutOfALongPrompt_data();
    void cutsTheMiddleOutOfALongPrompt();
    void refusesTooSmallABudget_data();
    void refusesTooSmallABudget();
};

void tst_LlamaEnginePrompt::repliesThroughTheChatTemplate_data()
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

void tst_LlamaEnginePrompt::repliesThroughTheChatTemplate()
{
    QFETCH(const QByteArray, chatTemplate);
    QFETCH(const bool, addsStartToken);

    TestModel model = TestModel::saying({R"({"action":"done","summary":"Ready."})"});
    model.addsStartToken = addsStartToken;
    model.chatTemplate.reset();
    if (!chatTemplate.isEmpty())
        model.chatTemplate = chatTemplate;
    LlamaEngine engine;
    load(engine, model);
    QCOMPARE(reply(engine, asking(u"Hello"_s)), uR"({"action":"done","summary":"Ready."})"_s);
}

void tst_LlamaEnginePrompt::givesRepliesOneAfterTheOther()
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

void tst_LlamaEnginePrompt::decodesTheFormattedConversation_data()
{
    repliesThroughTheChatTemplate_data();
}

// Checks the formatted prompt by the reply: if a prompt is one token too long, the token in its
// middle is cut out. So the phrase is put at the middle of the expected prompt.
void tst_LlamaEnginePrompt::decodesTheFormattedConversation()
{
    QFETCH(const QByteArray, chatTemplate);
    QFETCH(const bool, addsStartToken);

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

// The model gives its second reply only if the prompt contains the whole text of the first one. So
// the reply tells what was kept of a prompt.
void tst_LlamaEnginePrompt::keepsAPromptThatFits()
{
    LlamaEngine engine;
    load(engine, TestModel::saying({"the hidden phrase", "Seen it."}));
    QCOMPARE(reply(engine, conversationWithPhrase(4096 - 256, 900), 256), u"Seen it."_s);
    // One token more, and the middle is gone.
    QCOMPARE(reply(engine, conversationWithPhrase(4096 - 256 + 1, 900), 256),
             u"the hidden phrase"_s);
}

void tst_LlamaEnginePrompt::cutsTheMiddleOutOfALongPrompt_data()
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

void tst_LlamaEnginePrompt::cutsTheMiddleOutOfALongPrompt()
{
    QFETCH(const int, at);
    QFETCH(const bool, kept);

    LlamaEngine engine;
    load(engine, TestModel::saying({"the hidden phrase", "Seen it."}));
    QCOMPARE(reply(engine, conversationWithPhrase(5000, at), 256),
             kept ? u"Seen it."_s : u"the hidden phrase"_s);
}

void tst_LlamaEnginePrompt::refusesTooSmallABudget_data()
{
    QTest::addColumn<int>("tokens");
    QTest::addColumn<int>("maxTokens");

    QTest::newRow("64 tokens of room") << 65 << 4032;
    QTest::newRow("no room") << 100 << 4096;
    QTest::newRow("less than no room") << 100 << 10000;
    QTest::newRow("a long prompt") << 9000 << 4032;
}

void tst_LlamaEnginePrompt::refusesTooSmallABudget()
{
    QFETCH(const int, tokens);
    QFETCH(const int, maxTokens);

    LlamaEngine engine;
    load(engine, TestModel::saying({"Hello there."}));
    QCOMPARE(reply(engine, conversationOfTokens(tokens), maxTokens),
             u"error: Couldn't tokenize the prompt."_s);
    QVERIFY(engine.isLoaded());
    QCOMPARE(reply(engine, conversationOfTokens(64), 4032), u"Hello there."_s);
}

QTEST_GUILESS_MAIN(tst_LlamaEnginePrompt)
#include "tst_LlamaEnginePrompt.moc"
