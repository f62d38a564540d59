#include "inference/ChatMessage.h"

#include <QTest>

using namespace Qt::StringLiterals;

class tst_ChatMessage : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void rolesHaveTheirRawText_data();
    void rolesHaveTheirRawText();
    void otherTextsAreNotRoles_data();
    void otherTextsAreNotRoles();
    void messagesAreEqualByValue();
};

void tst_ChatMessage::rolesHaveTheirRawText_data()
{
    QTest::addColumn<int>("role");
    QTest::addColumn<QString>("text");

    QTest::newRow("system") << int(Role::system) << u"system"_s;
    QTest::newRow("user") << int(Role::user) << u"user"_s;
    QTest::newRow("assistant") << int(Role::assistant) << u"assistant"_s;
}

void tst_ChatMessage::rolesHaveTheirRawText()
{
    QFETCH(const int, role);
    QFETCH(const QString, text);

    QCOMPARE(rawText(Role(role)), text);
    QVERIFY(roleFromText(text) == Role(role));
}

void tst_ChatMessage::otherTextsAreNotRoles_data()
{
    QTest::addColumn<QString>("text");

    QTest::newRow("empty") << QString();
    QTest::newRow("capital") << u"System"_s;
    QTest::newRow("all capitals") << u"USER"_s;
    QTest::newRow("another role") << u"tool"_s;
    QTest::newRow("space around") << u" user"_s;
    QTest::newRow("a longer word") << u"users"_s;
}

void tst_ChatMessage::otherTextsAreNotRoles()
{
    QFETCH(const QString, text);
    QVERIFY(!roleFromText(text));
}

void tst_ChatMessage::messagesAreEqualByValue()
{
    const ChatMessage message{Role::assistant, u"{}"_s};
    ChatMessage copy = message;
    QVERIFY(copy == message);
    copy.content += u'x';
    QVERIFY(copy != message);
    QVERIFY(message != (ChatMessage{Role::user, u"{}"_s}));
}

QTEST_APPLESS_MAIN(tst_ChatMessage)
#include "tst_ChatMessage.moc"
