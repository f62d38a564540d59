#include "agent/action/ActionError.h"
#include "agent/action/AgentAction.h"

#include <QTest>

using namespace Qt::StringLiterals;

using Args = QMap<QString, QString>;

class tst_AgentAction : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void readsTheFirstObjectOfAReply_data();
    void readsTheFirstObjectOfAReply();
    void findsNoAction_data();
    void findsNoAction();
    void everyParseHasANewId();
    void argTrimsAndCountsBlanksAsAbsent();
    void titleDescribesTheAction_data();
    void titleDescribesTheAction();
    void tenMegabytesOfBracketsAreNoAction_data();
    void tenMegabytesOfBracketsAreNoAction();
    void anErrorShowsItsMessage();
};

void tst_AgentAction::readsTheFirstObjectOfAReply_data()
{
    QTest::addColumn<QString>("reply");
    QTest::addColumn<QString>("name");
    QTest::addColumn<Args>("args");

    QTest::newRow("prose and a fence around it")
        << u"Sure, here you go:\n```json\n{\"action\":\"open_app\",\"app\":\"Safari\"}\n```\nDone!"_s
        << u"open_app"_s << Args{{u"app"_s, u"Safari"_s}};
    QTest::newRow("a brace inside a string") << uR"({"action":"type_text","text":"a } b"})"_s
                                             << u"type_text"_s << Args{{u"text"_s, u"a } b"_s}};
    QTest::newRow("an escaped quote inside a string")
        << uR"({"action":"type_text","text":"say \"}\" now"})"_s << u"type_text"_s
        << Args{{u"text"_s, u"say \"}\" now"_s}};
    QTest::newRow("an escaped backslash before the quote")
        << uR"({"action":"type_text","text":"c:\\"} and "more"})"_s << u"type_text"_s
        << Args{{u"text"_s, u"c:\\"_s}};
    QTest::newRow("only the first of two objects")
        << uR"({"action":"open_app","app":"A"}{"action":"open_app","app":"B"})"_s << u"open_app"_s
        << Args{{u"app"_s, u"A"_s}};
    QTest::newRow("an object inside an array")
        << uR"([{"action":"new_tab"}])"_s << u"new_tab"_s << Args{};
    QTest::newRow("a stray quote before it")
        << uR"(5" {"action":"new_tab"})"_s << u"new_tab"_s << Args{};
    QTest::newRow("tool, parameters, capitals")
        << uR"({"tool":"Open_App","parameters":{"app":"Mail"}})"_s << u"open_app"_s
        << Args{{u"app"_s, u"Mail"_s}};
    QTest::newRow("name names the action")
        << uR"({"name":"done","message":"ok"})"_s << u"done"_s << Args{{u"message"_s, u"ok"_s}};
    QTest::newRow("action before name before tool")
        << uR"({"tool":"c","name":"b","action":"a"})"_s << u"a"_s << Args{};
    QTest::newRow("name before tool") << uR"({"tool":"c","name":"b"})"_s << u"b"_s << Args{};
    QTest::newRow("the name is not trimmed")
        << uR"({"action":" Open_App "})"_s << u" open_app "_s << Args{};
    QTest::newRow("an empty name") << uR"({"action":""})"_s << QString() << Args{};
    QTest::newRow("an argument called name is lost")
        << uR"({"action":"create_folder","name":"Projects","in":"Desktop"})"_s << u"create_folder"_s
        << Args{{u"in"_s, u"Desktop"_s}};
    QTest::newRow("also inside the argument block")
        << uR"({"action":"x","args":{"name":"n","tool":"t","action":"a","k":"v"}})"_s << u"x"_s
        << Args{{u"k"_s, u"v"_s}};
    QTest::newRow("the top level wins")
        << uR"({"action":"press_key","key":"l","args":{"key":"k","modifiers":["command"]}})"_s
        << u"press_key"_s << Args{{u"key"_s, u"l"_s}, {u"modifiers"_s, u"command"_s}};
    QTest::newRow("a null at the top level wins too")
        << uR"({"action":"x","k":null,"args":{"k":"v"}})"_s << u"x"_s << Args{};
    QTest::newRow("args before parameters")
        << uR"({"action":"x","parameters":{"a":"p"},"args":{"b":"q"}})"_s << u"x"_s
        << Args{{u"b"_s, u"q"_s}};
    QTest::newRow("parameters where args is no object")
        << uR"({"action":"x","parameters":{"a":"p"},"args":"text"})"_s << u"x"_s
        << Args{{u"a"_s, u"p"_s}, {u"args"_s, u"text"_s}};
    QTest::newRow("an args list is an argument")
        << uR"({"action":"x","args":["a",1]})"_s << u"x"_s << Args{{u"args"_s, u"a+1"_s}};
    QTest::newRow("parameters beside args is an argument when it has a text")
        << uR"({"action":"x","args":{"a":"b"},"parameters":7})"_s << u"x"_s
        << Args{{u"a"_s, u"b"_s}, {u"parameters"_s, u"7"_s}};
    QTest::newRow("a member args of the block")
        << uR"({"action":"x","parameters":{"args":"inner"}})"_s << u"x"_s
        << Args{{u"args"_s, u"inner"_s}};
    QTest::newRow("null and objects are dropped")
        << uR"({"action":"open_url","url":null,"more":{"a":"b"}})"_s << u"open_url"_s << Args{};
    QTest::newRow("numbers and booleans")
        << uR"({"action":"x","n":3.0,"m":2.5,"t":true,"f":false})"_s << u"x"_s
        << Args{{u"n"_s, u"3"_s}, {u"m"_s, u"2.5"_s}, {u"t"_s, u"1"_s}, {u"f"_s, u"0"_s}};
    QTest::newRow("keys keep their case and values their blanks")
        << uR"({"action":"x","App":" Mail "})"_s << u"x"_s << Args{{u"App"_s, u" Mail "_s}};
    QTest::newRow("a byte order mark makes another key")
        << uR"({"action":"read_ui","\ufeffaction":"trash","path":"x"})"_s << u"read_ui"_s
        << Args{{u"\ufeffaction"_s, u"trash"_s}, {u"path"_s, u"x"_s}};
    QTest::newRow("white space between the tokens")
        << u"{\r\n\t\"action\" :\n\"new_tab\"\t}"_s << u"new_tab"_s << Args{};
    QTest::newRow("any script")
        << uR"({"action":"type_text","text":"日本語 👩‍👩‍👧 \u00e9"})"_s
        << u"type_text"_s << Args{{u"text"_s, u"日本語 👩‍👩‍👧 é"_s}};
}

void tst_AgentAction::readsTheFirstObjectOfAReply()
{
    QFETCH(const QString, reply);
    const auto action = AgentAction::parse(reply);
    QVERIFY(action);
    QTEST(action->name, "name");
    QTEST(action->args, "args");
}

void tst_AgentAction::findsNoAction_data()
{
    QTest::addColumn<QString>("reply");

    QTest::newRow("empty") << QString();
    QTest::newRow("prose") << u"I will open Safari now."_s;
    QTest::newRow("not closed") << uR"({"action":"open_app")"_s;
    QTest::newRow("closed inside a string only") << uR"({"action":"open_app})"_s;
    QTest::newRow("the first object is no action") << uR"({} {"action":"open_app","app":"A"})"_s;
    QTest::newRow("a brace in the prose comes first")
        << uR"(Use { like this: {"action":"open_app"})"_s;
    QTest::newRow("an array") << uR"(["action","open_app"])"_s;
    QTest::newRow("a string") << uR"("open_app")"_s;
    QTest::newRow("no name") << uR"({"app":"Safari"})"_s;
    QTest::newRow("the name is a number") << uR"({"action":5})"_s;
    QTest::newRow("the next key is not tried") << uR"({"action":5,"name":"open_app"})"_s;
    QTest::newRow("nor the one after it") << uR"({"name":5,"tool":"open_app"})"_s;
    QTest::newRow("the name is null") << uR"({"action":null,"name":"open_app"})"_s;
    QTest::newRow("the name is a list") << uR"({"action":["open_app"]})"_s;
    QTest::newRow("the name is an object") << uR"({"name":{"action":"open_app"}})"_s;
    QTest::newRow("keys are exact") << uR"({"Action":"open_app"})"_s;
    QTest::newRow("a byte order mark before the key") << uR"({"\ufeffaction":"open_app"})"_s;
    QTest::newRow("a comment") << uR"({"action":"open_app" // yes
})"_s;
    QTest::newRow("a trailing comma") << uR"({"action":"open_app",})"_s;
    QTest::newRow("single quotes") << u"{'action':'open_app'}"_s;
    QTest::newRow("a raw line feed in a string")
        << u"{\"action\":\"type_text\",\"text\":\"a\nb\"}"_s;
    QTest::newRow("an unknown escape") << uR"({"action":"open_app","app":"\q"})"_s;
}

void tst_AgentAction::findsNoAction()
{
    QFETCH(const QString, reply);
    QVERIFY(!AgentAction::parse(reply));
}

void tst_AgentAction::everyParseHasANewId()
{
    const QString reply = uR"({"action":"new_tab"})"_s;
    const auto first = AgentAction::parse(reply);
    const auto second = AgentAction::parse(reply);
    QVERIFY(first && second);
    QVERIFY(!first->id.isNull());
    QVERIFY(first->id != second->id);
}

void tst_AgentAction::argTrimsAndCountsBlanksAsAbsent()
{
    const AgentAction action{.name = u"x"_s,
                             .args = {{u"blank"_s, u" \t\r\n\u00a0\u3000\u2028"_s},
                                      {u"empty"_s, QString()},
                                      {u"word"_s, u"\u00a0 two words \n"_s},
                                      {u"zero"_s, u"\u200b"_s}}};
    QVERIFY(!action.arg(u"blank"_s));
    QVERIFY(!action.arg(u"empty"_s));
    QVERIFY(!action.arg(u"missing"_s));
    QVERIFY(!action.arg(u"Word"_s));
    QCOMPARE(action.arg(u"word"_s), u"two words"_s);
    QCOMPARE(action.args.value(u"word"_s), u"\u00a0 two words \n"_s);
    // A zero-width space is not white space.
    QCOMPARE(action.arg(u"zero"_s), u"\u200b"_s);
    QVERIFY(!AgentAction{}.arg(u"x"_s));
}

void tst_AgentAction::titleDescribesTheAction_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<Args>("args");
    QTest::addColumn<QString>("title");

    const auto row = [](const char *tag, const QString &name, const Args &args,
                        const QString &title) { QTest::newRow(tag) << name << args << title; };
    row("open_app", u"open_app"_s, {{u"app"_s, u" Safari "_s}}, u"Launching Safari"_s);
    row("open_app without", u"open_app"_s, {}, u"Launching app"_s);
    row("focus_app", u"focus_app"_s, {{u"app"_s, u"Mail"_s}}, u"Launching Mail"_s);
    row("quit_app", u"quit_app"_s, {{u"app"_s, u"Mail"_s}}, u"Closing Mail"_s);
    row("quit_app without", u"quit_app"_s, {{u"app"_s, u" "_s}}, u"Closing app"_s);
    row("open_url", u"open_url"_s, {{u"url"_s, u"https://example.org/a/"_s}},
        u"Navigating to example.org/a"_s);
    row("open_url with schemes anywhere", u"open_url"_s,
        {{u"url"_s, u"//http://a.org/?u=https://b.org//"_s}}, u"Navigating to a.org/?u=b.org"_s);
    row("open_url where a removal makes a scheme", u"open_url"_s,
        {{u"url"_s, u"hthttps://tp://a.org"_s}}, u"Navigating to a.org"_s);
    row("open_url with another scheme", u"open_url"_s, {{u"url"_s, u"ftp://a.org"_s}},
        u"Navigating to ftp://a.org"_s);
    row("open_url of slashes", u"open_url"_s, {{u"url"_s, u"https:////"_s}}, u"Navigating to "_s);
    row("open_url without", u"open_url"_s, {}, u"Navigating to "_s);
    row("web_search", u"web_search"_s, {{u"query"_s, u"MacBook Air"_s}},
        u"Searching for “MacBook Air”"_s);
    row("web_search without", u"web_search"_s, {}, u"Searching for “”"_s);
    row("new_tab", u"new_tab"_s, {}, u"Opening new tab"_s);
    row("type_text", u"type_text"_s, {{u"text"_s, u" hi "_s}}, u"Typing “hi”"_s);
    row("press_key", u"press_key"_s, {{u"key"_s, u"L"_s}}, u"Pressing L"_s);
    row("press_key with modifiers", u"press_key"_s,
        {{u"key"_s, u"l"_s}, {u"modifiers"_s, u"command+shift"_s}}, u"Pressing command+shift+l"_s);
    row("press_key without", u"press_key"_s, {}, u"Pressing "_s);
    row("click", u"click"_s, {{u"label"_s, u"Save"_s}}, u"Clicking “Save”"_s);
    row("create_folder", u"create_folder"_s, {{u"in"_s, u"Desktop"_s}}, u"Creating folder “”"_s);
    row("screenshot", u"screenshot"_s, {}, u"Taking a screenshot"_s);
    row("find_files", u"find_files"_s, {{u"folder"_s, u"Documents"_s}}, u"Searching Documents"_s);
    row("find_files without", u"find_files"_s, {}, u"Searching Downloads"_s);
    row("open_path", u"open_path"_s, {{u"path"_s, u"Downloads"_s}}, u"Opening Downloads"_s);
    row("trash", u"trash"_s, {{u"path"_s, u"Downloads/old.zip"_s}},
        u"Moving “Downloads/old.zip” to Trash"_s);
    row("list_windows", u"list_windows"_s, {}, u"Looking at open windows"_s);
    row("read_ui", u"read_ui"_s, {}, u"Reading the interface"_s);
    row("applescript", u"applescript"_s, {{u"script"_s, u"beep"_s}}, u"Running AppleScript"_s);
    row("done", u"done"_s, {{u"message"_s, u"ok"_s}}, u"Done"_s);
    row("unknown", u"scroll_down"_s, {}, u"Scroll Down"_s);
    row("unknown capitals", u"OPEN_APP"_s, {}, u"Open App"_s);
    row("no name", QString(), {}, QString());
}

void tst_AgentAction::titleDescribesTheAction()
{
    QFETCH(const QString, name);
    QFETCH(const Args, args);
    QTEST((AgentAction{.name = name, .args = args}.title()), "title");
}

void tst_AgentAction::tenMegabytesOfBracketsAreNoAction_data()
{
    QTest::addColumn<QString>("reply");

    constexpr qsizetype size = 10'000'000;
    QTest::newRow("open braces") << QString(size, u'{');
    QTest::newRow("closed braces") << QString(size / 2, u'{') + QString(size / 2, u'}');
    QTest::newRow("open arrays") << u"{\"action\":"_s + QString(size, u'[');
    QTest::newRow("arrays in a closed object") << u"{\"action\":"_s + QString(size, u'[') + u'}';
    QTest::newRow("quotes") << u'{' + QString(size, u'"');
    QTest::newRow("backslashes in a string") << u"{\""_s + QString(size, u'\\');
}

void tst_AgentAction::tenMegabytesOfBracketsAreNoAction()
{
    QFETCH(const QString, reply);
    QVERIFY(!AgentAction::parse(reply));
}

void tst_AgentAction::anErrorShowsItsMessage()
{
    const ActionError error(u"Nothing exists at “Döner”."_s);
    QCOMPARE(error.message, u"Nothing exists at “Döner”."_s);
    QCOMPARE(QString::fromUtf8(error.what()), error.message);
}

QTEST_APPLESS_MAIN(tst_AgentAction)
#include "tst_AgentAction.moc"
