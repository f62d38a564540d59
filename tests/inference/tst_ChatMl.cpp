#include "inference/ChatMl.h"

#include <QTest>

using namespace Qt::StringLiterals;

class tst_ChatMl : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void marksEachMessageAndOpensTheReply();
    void addsNothingElse();
    void writesContentUnchanged();
};

void tst_ChatMl::marksEachMessageAndOpensTheReply()
{
    const QList<ChatMessage> conversation{{Role::system, u"Be brief."_s},
                                          {Role::user, u"Hello"_s},
                                          {Role::assistant, u"Hi"_s},
                                          {Role::user, u"Bye"_s}};
    QCOMPARE(chatMlPrompt(conversation), "<|im_start|>system\nBe brief.<|im_end|>\n"
                                         "<|im_start|>user\nHello<|im_end|>\n"
                                         "<|im_start|>assistant\nHi<|im_end|>\n"
                                         "<|im_start|>user\nBye<|im_end|>\n"
                                         "<|im_start|>assistant\n"_ba);
}

void tst_ChatMl::addsNothingElse()
{
    QCOMPARE(chatMlPrompt({}), "<|im_start|>assistant\n"_ba);
}

void tst_ChatMl::writesContentUnchanged()
{
    QCOMPARE(chatMlPrompt({{Role::user, u"  größer 😀\n\n"_s}}),
             "<|im_start|>user\n  größer 😀\n\n<|im_end|>\n<|im_start|>assistant\n"_ba);
}

QTEST_APPLESS_MAIN(tst_ChatMl)
#include "tst_ChatMl.moc"
