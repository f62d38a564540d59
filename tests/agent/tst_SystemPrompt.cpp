#include "agent/SystemPrompt.h"

#include <QCryptographicHash>
#include <QTest>

#include <algorithm>

using namespace Qt::StringLiterals;

class tst_SystemPrompt : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void isPlainTextOf34Lines();
    void namesTheSameNewsSiteEverywhere();
    void isNotChangedByAccident();
};

void tst_SystemPrompt::isPlainTextOf34Lines()
{
    const QString prompt = systemPrompt();
    QCOMPARE(prompt.split(u'\n').size(), 34);
    QVERIFY(!prompt.endsWith(u'\n'));
    QVERIFY(std::ranges::all_of(prompt, [](QChar character) {
        return character == u'\n' || (character >= u' ' && character <= u'~');
    }));
    QVERIFY(prompt.startsWith(
        u"You operate a Mac for the user by emitting ONE JSON action at a time."));
    QVERIFY(prompt.endsWith(uR"({"action":"done","message":"Opened bbc.com in Brave."})"));
}

void tst_SystemPrompt::namesTheSameNewsSiteEverywhere()
{
    QCOMPARE(systemPrompt().count(u"bbc.com"_s), 5);
    QVERIFY(!systemPrompt().contains(u"NEWS_SITE"_s));
}

void tst_SystemPrompt::isNotChangedByAccident()
{
    // Models react to every word of it: measure a changed prompt before changing this checksum.
    QCOMPARE(QCryptographicHash::hash(systemPrompt().toUtf8(), QCryptographicHash::Sha256).toHex(),
             QByteArray("9006ff9f2013fbe0322e13eefa975403a6033f9bed5a146049839acf334f9b04"));
}

QTEST_APPLESS_MAIN(tst_SystemPrompt)
#include "tst_SystemPrompt.moc"
