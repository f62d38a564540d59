#include "FakeCoreFoundation.h"
#include "platform/macos/MacKeyboard.h"

#include <QTest>

using namespace Qt::StringLiterals;
namespace Fake = FakeCoreFoundation;

namespace {
// Posts the event from a new source.
void post(const KeyEvent &event)
{
    MacKeyboard keyboard;
    const std::unique_ptr<KeyboardSource> source = keyboard.open({}, ProcessId{7});
    QVERIFY(source->post(event).isFinished());
    QVERIFY(source->finish().isFinished());
}
} // namespace

class tst_MacKeyboard : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void cleanup();

    void keysArePostedLikeThoseOfTheHardware();
    void textIsAttachedInUtf16();
    void longTextIsPostedInParts_data();
    void longTextIsPostedInParts();
    void everySourceServesManyEvents();
    void eventsThatCannotBeCreatedAreSkipped();
};

void tst_MacKeyboard::cleanup()
{
    Fake::makesKeyEvents = true;
    Fake::postedKeys.clear();
    QCOMPARE(Fake::livingObjects(), 0);
}

void tst_MacKeyboard::keysArePostedLikeThoseOfTheHardware()
{
    post({.code = 37, .flags = 0x100000, .isDown = true});
    post({.code = 37, .flags = 0, .isDown = false});
    const QList<Fake::PostedKey> expected{
        {.tap = 0, .sourceState = 1, .code = 37, .isDown = true, .flags = 0x100000, .text = {}},
        {.tap = 0, .sourceState = 1, .code = 37, .isDown = false, .flags = 0, .text = {}}};
    QCOMPARE(Fake::postedKeys, expected);
}

void tst_MacKeyboard::textIsAttachedInUtf16()
{
    const QString text = u"é 東 👨‍👩‍👧‍👦\r\n\""_s;
    post({.isDown = true, .text = text});
    QCOMPARE(Fake::postedKeys.size(), 1);
    QCOMPARE(Fake::postedKeys.constFirst().text, text);
    QCOMPARE(Fake::postedKeys.constFirst().code, 0);
    QCOMPARE(Fake::postedKeys.constFirst().flags, 0U);
}

// The system accepts twenty units of a text and drops the rest.
void tst_MacKeyboard::longTextIsPostedInParts_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<int>("unitsPerCharacter"); // 0: they are longer than an event
    const auto row = [](const char *name, const QString &character, int count) {
        QTest::newRow(name) << character.repeated(count) << static_cast<int>(character.size());
    };
    row("letters", u"x"_s, 41);
    row("as many as fit", u"x"_s, 20);
    row("pairs", u"😀"_s, 21);
    row("letters with two marks", u"e\u0323\u0301"_s, 20);
    row("families", u"👩‍👩‍👧‍👦"_s, 5);
    QTest::newRow("one character that no event can take")
        << QString(u'e' + QString(60, QChar(0x301))) << 0;
}

void tst_MacKeyboard::longTextIsPostedInParts()
{
    QFETCH(const QString, text);
    QFETCH(const int, unitsPerCharacter);
    post({.isDown = true, .text = text});
    post({.isDown = false, .text = text});
    QString pressed;
    QString released;
    bool isDown = false;
    for (const Fake::PostedKey &key : std::as_const(Fake::postedKeys)) {
        QVERIFY(key.isDown != std::exchange(isDown, key.isDown));
        QVERIFY(key.text.size() <= 20);
        QVERIFY(!key.text.isEmpty());
        if (unitsPerCharacter > 0)
            QCOMPARE(key.text.size() % unitsPerCharacter, 0);
        (key.isDown ? pressed : released) += key.text;
    }
    QVERIFY(!isDown);
    QCOMPARE(pressed, text);
    QCOMPARE(released, text);
}

void tst_MacKeyboard::everySourceServesManyEvents()
{
    {
        MacKeyboard keyboard;
        const std::unique_ptr<KeyboardSource> source = keyboard.open(u"ab"_s, ProcessId{7});
        for (int i = 0; i < 50; ++i)
            QVERIFY(source->post({.isDown = i % 2 == 0, .text = u"ab"_s}).isFinished());
        QCOMPARE(Fake::livingObjects(), 1);
    }
    QCOMPARE(Fake::postedKeys.size(), 50);
}

void tst_MacKeyboard::eventsThatCannotBeCreatedAreSkipped()
{
    Fake::makesKeyEvents = false;
    post({.code = 36, .isDown = true});
    QVERIFY(Fake::postedKeys.isEmpty());
}

QTEST_APPLESS_MAIN(tst_MacKeyboard)
#include "tst_MacKeyboard.moc"
