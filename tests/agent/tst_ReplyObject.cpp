#include "agent/action/ReplyObject.h"

#include <QTest>

using namespace Qt::StringLiterals;

class tst_ReplyObject : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void refusesEverythingButStrictJsonObjects_data();
    void refusesEverythingButStrictJsonObjects();
    void turnsValuesIntoTexts_data();
    void turnsValuesIntoTexts();
    void keepsTheFieldsOfAnObjectMember();
    void usesTheLastOfRepeatedKeys();
    void deepNestingNeedsNoStack();
};

void tst_ReplyObject::refusesEverythingButStrictJsonObjects_data()
{
    QTest::addColumn<QByteArray>("json");

    QTest::newRow("nothing") << QByteArray();
    QTest::newRow("array") << QByteArray("[]");
    QTest::newRow("array of objects") << QByteArray(R"([{"a":"b"}])");
    QTest::newRow("string") << QByteArray(R"("text")");
    QTest::newRow("number") << QByteArray("5");
    QTest::newRow("null") << QByteArray("null");
    QTest::newRow("comment") << QByteArray(R"({"a":"b" /* no */})");
    QTest::newRow("trailing comma") << QByteArray(R"({"a":"b",})");
    QTest::newRow("trailing comma in an array") << QByteArray(R"({"a":["b",]})");
    QTest::newRow("single quotes") << QByteArray("{'a':'b'}");
    QTest::newRow("bare key") << QByteArray("{a:1}");
    QTest::newRow("no value") << QByteArray(R"({"a":})");
    QTest::newRow("no colon") << QByteArray(R"({"a" "b"})");
    QTest::newRow("raw line feed in a string") << QByteArray("{\"a\":\"b\nc\"}");
    QTest::newRow("raw tab in a string") << QByteArray("{\"a\":\"b\tc\"}");
    QTest::newRow("raw NUL in a string") << QByteArray("{\"a\":\"b\0c\"}", 11);
    QTest::newRow("unknown escape") << QByteArray(R"({"a":"\x41"})");
    QTest::newRow("short unicode escape") << QByteArray(R"({"a":"\u12"})");
    QTest::newRow("leading zero") << QByteArray(R"({"a":01})");
    QTest::newRow("plus sign") << QByteArray(R"({"a":+1})");
    QTest::newRow("bare point") << QByteArray(R"({"a":.5})");
    QTest::newRow("not a number") << QByteArray(R"({"a":NaN})");
    QTest::newRow("beyond a double") << QByteArray(R"({"a":1e999})");
    QTest::newRow("capital literal") << QByteArray(R"({"a":True})");
    QTest::newRow("something behind") << QByteArray(R"({"a":1}x)");
    QTest::newRow("not closed") << QByteArray(R"({"a":1)");
    QTest::newRow("wrongly closed") << QByteArray(R"({"a":[1}])");
    QTest::newRow("invalid UTF-8") << QByteArray("{\"a\":\"\xff\"}");
}

void tst_ReplyObject::refusesEverythingButStrictJsonObjects()
{
    QFETCH(const QByteArray, json);
    QVERIFY(!ReplyObject::decode(json));
}

void tst_ReplyObject::turnsValuesIntoTexts_data()
{
    QTest::addColumn<QByteArray>("value");
    QTest::addColumn<bool>("hasText");
    QTest::addColumn<QString>("text");

    const auto row = [](const char *value, const QString &text) {
        QTest::newRow(value) << QByteArray(value) << true << text;
    };
    row(R"("  as it is ")", u"  as it is "_s);
    row(R"("")", u""_s);
    row(R"("caf\u00e9 \ud83d\ude00 \"q\" \/ \b\f\n\r\t")", u"café 😀 \"q\" / \b\f\n\r\t"_s);
    // A byte order mark is an ordinary character, at the beginning and elsewhere.
    row(R"("\ufeff")", u"\ufeff"_s);
    row("\"\xef\xbb\xbfg\xef\xbb\xbf\"", u"\ufeffg\ufeff"_s);
    row(R"(["\ufeffa"])", u"\ufeffa"_s);
    row("3", u"3"_s);
    row("3.0", u"3"_s);
    row("2.5", u"2.5"_s);
    row("-7", u"-7"_s);
    row("1e3", u"1000"_s);
    row("0.1", u"0.1"_s);
    row("1e-7", u"1e-7"_s);
    row("-2.5E-007", u"-2.5e-7"_s);
    row("1e-10", u"1e-10"_s);
    row("1e-300", u"1e-300"_s);
    row("0", u"0"_s);
    row("-0", u"0"_s);
    row("-0.0", u"0"_s);
    row("9007199254740991.0", u"9007199254740991"_s);
    row("9223372036854775807", u"9223372036854775807"_s);
    row("18446744073709551615", u"18446744073709551615"_s);
    row("-9223372036854775808", u"-9223372036854775808"_s);
    row("1e20", u"1e20"_s);
    row("true", u"1"_s);
    row("false", u"0"_s);
    row(R"(["command","shift"])", u"command+shift"_s);
    row(R"(["a",1,2.50,true,false])", u"a+1+2.5+1+0"_s);
    row("[]", u""_s);
    row(R"(["",""])", u"+"_s);
    row(R"([["a","b"],"c"])", u"a+b+c"_s);
    row(R"(["a",{"b":"c","d":["e"]},"f"])", u"a+{}+f"_s);
    row(R"([null,"a"])", u"null+a"_s);
    QTest::newRow("null") << QByteArray("null") << false << QString();
    QTest::newRow("object") << QByteArray(R"({"a":"b"})") << false << QString();
}

void tst_ReplyObject::turnsValuesIntoTexts()
{
    QFETCH(const QByteArray, value);
    QFETCH(const bool, hasText);
    QFETCH(const QString, text);

    // The same at the top level and one level below.
    const auto object = ReplyObject::decode(R"({"k":)" + value + R"(,"o":{"k":)" + value + "}}");
    QVERIFY(object);
    const auto &top = object->members.value(u"k"_s);
    QCOMPARE(top.text.has_value(), hasText);
    const auto &fields = object->members.value(u"o"_s).fields;
    QCOMPARE(fields.contains(u"k"_s), hasText);
    if (hasText) {
        QCOMPARE(*top.text, text);
        QCOMPARE(fields.value(u"k"_s), text);
    }
    QCOMPARE(top.isString, value.startsWith('"'));
    QCOMPARE(top.isObject, value.startsWith('{'));
}

void tst_ReplyObject::keepsTheFieldsOfAnObjectMember()
{
    const auto object = ReplyObject::decode(
        R"({"before":1,"args":{"a":"x","deep":{"a":"hidden","b":["hidden"]},"l":["y",{"m":"hidden"}]},"after":2})");
    QVERIFY(object);
    const auto &args = object->members.value(u"args"_s);
    QVERIFY(args.isObject);
    QCOMPARE(args.fields, (QMap<QString, QString>{{u"a"_s, u"x"_s}, {u"l"_s, u"y+{}"_s}}));
    QCOMPARE(object->members.value(u"before"_s).text, u"1"_s);
    QCOMPARE(object->members.value(u"after"_s).text, u"2"_s);
}

void tst_ReplyObject::usesTheLastOfRepeatedKeys()
{
    const auto object = ReplyObject::decode(
        R"({"a":"1","a":"2","b":"1","b":null,"c":{"x":"1","y":"1"},"c":{"x":"2"},)"
        R"("d":{"x":"1","x":{}},"e":{"x":"1"},"e":"text","f":"text","f":{}})");
    QVERIFY(object);
    QCOMPARE(object->members.value(u"a"_s).text, u"2"_s);
    QVERIFY(!object->members.value(u"b"_s).text);
    QCOMPARE(object->members.value(u"c"_s).fields, (QMap<QString, QString>{{u"x"_s, u"2"_s}}));
    QVERIFY(object->members.value(u"d"_s).fields.isEmpty());
    QCOMPARE(object->members.value(u"e"_s).text, u"text"_s);
    QVERIFY(!object->members.value(u"e"_s).isObject);
    QVERIFY(!object->members.value(u"f"_s).text);
    QVERIFY(object->members.value(u"f"_s).isObject);
}

void tst_ReplyObject::deepNestingNeedsNoStack()
{
    constexpr qsizetype depth = 5'000'000;
    const QByteArray arrays =
        R"({"a":)" + QByteArray(depth, '[') + QByteArray(depth, ']') + R"(,"b":"x"})";
    const auto nested = ReplyObject::decode(arrays);
    QVERIFY(nested);
    QCOMPARE(nested->members.value(u"b"_s).text, u"x"_s);

    const QByteArray objects =
        QByteArray("{\"a\":").repeated(depth / 5) + "1" + QByteArray(depth / 5, '}');
    QVERIFY(ReplyObject::decode(objects));
    QVERIFY(!ReplyObject::decode(objects.chopped(1)));
}

QTEST_APPLESS_MAIN(tst_ReplyObject)
#include "tst_ReplyObject.moc"
