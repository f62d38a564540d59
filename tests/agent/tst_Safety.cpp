#include "agent/Safety.h"
#include "tests/support/FakePlatform.h"

#include <QTest>

#include <optional>

using namespace Qt::StringLiterals;

using Args = QMap<QString, QString>;

class tst_Safety : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void assessesAnAction_data();
    void assessesAnAction();
    void quitsSafeApplicationsWithoutAsking_data();
    void quitsSafeApplicationsWithoutAsking();
    void asksBeforeReturnInAMessagingApplication_data();
    void asksBeforeReturnInAMessagingApplication();
    void asksBeforeAConsequentialControl_data();
    void asksBeforeAConsequentialControl();
    void showsTheFrontApplicationCapitalized_data();
    void showsTheFrontApplicationCapitalized();
    void anApplicationWithoutANameIsNoMessenger();
    void withoutAFrontTheDesktopIsAsked();
    void aDesktopThatDoesNotAnswerHasNoFront();
};

namespace {
Risk assess(const QString &name, const Args &args, const std::optional<QString> &front)
{
    const AgentAction action{.name = name, .args = args};
    if (!front)
        return Safety::assess(action, std::nullopt);
    return Safety::assess(action, Application{.pid = ProcessId{7}, .name = front});
}
} // namespace

void tst_Safety::assessesAnAction_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<Args>("args");
    QTest::addColumn<QString>("front");
    QTest::addColumn<QString>("reason"); // null if safe

    const auto asks = [](const char *tag, const QString &name, const Args &args,
                         const QString &front, const QString &reason) {
        QTest::newRow(tag) << name << args << front << reason;
    };
    const auto safe = [](const char *tag, const QString &name, const Args &args,
                         const QString &front = {}) {
        QTest::newRow(tag) << name << args << front << QString();
    };

    asks("trash", u"trash"_s, {{u"path"_s, u" Downloads/Old.zip "_s}}, {},
         u"Move “Downloads/Old.zip” to the Trash"_s);
    asks("trash without a path", u"trash"_s, {}, {}, u"Move “item” to the Trash"_s);
    asks("trash a blank path", u"trash"_s, {{u"path"_s, u" "_s}}, {},
         u"Move “item” to the Trash"_s);

    asks("quit Safari", u"quit_app"_s, {{u"app"_s, u"Safari"_s}}, {},
         u"Quit Safari — unsaved work could be lost"_s);
    asks("quit Spotify.app", u"quit_app"_s, {{u"app"_s, u"Spotify.app"_s}}, {},
         u"Quit Spotify.app — unsaved work could be lost"_s);
    asks("quit Apple Music", u"quit_app"_s, {{u"app"_s, u" Apple Music"_s}}, {},
         u"Quit Apple Music — unsaved work could be lost"_s);
    asks("quit without an app", u"quit_app"_s, {}, {},
         u"Quit the app — unsaved work could be lost"_s);

    asks("script", u"applescript"_s, {{u"script"_s, u"tell app \"Finder\"\n  quit\nend tell"_s}},
         {}, u"Run a custom AppleScript:\ntell app \"Finder\"\n  quit\nend tell"_s);
    asks("no script", u"applescript"_s, {}, {}, u"Run a custom AppleScript:\n"_s);

    asks("click Send", u"click"_s, {{u"label"_s, u" Send "_s}}, u"Mail"_s,
         u"Click “Send” in Mail"_s);
    asks("click with nothing in front", u"click"_s, {{u"label"_s, u"SEND"_s}}, {},
         u"Click “SEND” in "_s);
    safe("click Open", u"click"_s, {{u"label"_s, u"Open"_s}}, u"Mail"_s);
    safe("click nothing", u"click"_s, {}, u"Mail"_s);

    safe("Return in Safari", u"press_key"_s, {{u"key"_s, u"return"_s}}, u"Safari"_s);
    safe("Return with nothing in front", u"press_key"_s, {{u"key"_s, u"return"_s}});
    asks("enter with modifiers in Messages", u"press_key"_s,
         {{u"key"_s, u"enter"_s}, {u"modifiers"_s, u"command"_s}}, u"Messages"_s,
         u"Press Return in Messages — this may send a message"_s);
    asks("Return in Outlook", u"press_key"_s, {{u"key"_s, u" Return "_s}}, u"Microsoft Outlook"_s,
         u"Press Return in Microsoft Outlook — this may send a message"_s);
    safe("keypad enter is no name", u"press_key"_s, {{u"key"_s, u"enter key"_s}}, u"Mail"_s);
    asks("backspace with command", u"press_key"_s,
         {{u"key"_s, u"backspace"_s}, {u"modifiers"_s, u"Command+Shift"_s}}, u"Finder"_s,
         u"Delete the selected item (⌘⌫)"_s);
    asks("delete with command", u"press_key"_s,
         {{u"key"_s, u"DELETE"_s}, {u"modifiers"_s, u"command"_s}}, {},
         u"Delete the selected item (⌘⌫)"_s);
    safe("delete alone", u"press_key"_s, {{u"key"_s, u"delete"_s}}, u"Finder"_s);
    safe("delete with cmd", u"press_key"_s, {{u"key"_s, u"delete"_s}, {u"modifiers"_s, u"cmd"_s}},
         u"Finder"_s);
    asks("Q with command", u"press_key"_s, {{u"key"_s, u"Q"_s}, {u"modifiers"_s, u"command"_s}},
         u"Finder"_s, u"Quit Finder (⌘Q)"_s);
    asks("Q with nothing in front", u"press_key"_s,
         {{u"key"_s, u"q"_s}, {u"modifiers"_s, u"option command"_s}}, {}, u"Quit  (⌘Q)"_s);
    safe("q alone", u"press_key"_s, {{u"key"_s, u"q"_s}}, u"Finder"_s);
    safe("w with command", u"press_key"_s, {{u"key"_s, u"w"_s}, {u"modifiers"_s, u"command"_s}},
         u"Finder"_s);
    safe("no key", u"press_key"_s, {}, u"Mail"_s);

    asks("reset in the settings", u"open_url"_s,
         {{u"url"_s, u"X-Apple.SystemPreferences:com.apple.preference.security?Reset"_s}}, {},
         u"Modify system settings"_s);
    safe("a settings pane", u"open_url"_s,
         {{u"url"_s, u"x-apple.systempreferences:com.apple.preference.security"_s}});
    safe("reset on the web", u"open_url"_s, {{u"url"_s, u"https://example.org/reset"_s}});
    safe("settings inside an address", u"open_url"_s,
         {{u"url"_s, u"https://x-apple.systempreferences/reset"_s}});
    safe("no address", u"open_url"_s, {});

    for (const char *name :
         {"Trash", "CLICK", "QUIT_APP", " trash", "open_app", "focus_app", "web_search", "new_tab",
          "type_text", "create_folder", "screenshot", "find_files", "open_path", "list_windows",
          "read_ui", "done", "format_disk", ""}) {
        safe(*name ? name : "no name", QString::fromLatin1(name),
             {{u"path"_s, u"x"_s},
              {u"app"_s, u"Safari"_s},
              {u"label"_s, u"Send"_s},
              {u"text"_s, u"delete everything"_s},
              {u"key"_s, u"return"_s}},
             u"Mail"_s);
    }
}

void tst_Safety::assessesAnAction()
{
    QFETCH(const QString, name);
    QFETCH(const Args, args);
    QFETCH(const QString, front);
    QFETCH(const QString, reason);

    const Risk risk = assess(name, args, front.isNull() ? std::nullopt : std::optional(front));
    QCOMPARE(risk.isSafe(), reason.isNull());
    QCOMPARE(risk.reason(), reason);
    QVERIFY(risk == (reason.isNull() ? Risk::safe() : Risk::needsConfirmation(reason)));
}

void tst_Safety::quitsSafeApplicationsWithoutAsking_data()
{
    QTest::addColumn<QString>("app");
    for (const char *app : {"spotify", "music", "podcasts", "tv", "calculator", "maps", "photos",
                            "news", "stocks", "weather", "chess", "preview", "system settings",
                            "activity monitor", "Spotify", " spotify ", "SYSTEM SETTINGS"})
        QTest::newRow(app) << QString::fromLatin1(app);
}

void tst_Safety::quitsSafeApplicationsWithoutAsking()
{
    QFETCH(const QString, app);
    QVERIFY(assess(u"quit_app"_s, {{u"app"_s, app}}, {}).isSafe());
    QVERIFY(!assess(u"quit_app"_s, {{u"app"_s, app.trimmed() + u'x'}}, {}).isSafe());
}

void tst_Safety::asksBeforeReturnInAMessagingApplication_data()
{
    QTest::addColumn<QString>("front");
    for (const char *name : {"Messages", "Mail", "Slack", "Discord", "Telegram", "Whatsapp",
                             "Outlook", "Teams", "Signal", "Thunderbird Mail"})
        QTest::newRow(name) << QString::fromLatin1(name);
}

void tst_Safety::asksBeforeReturnInAMessagingApplication()
{
    QFETCH(const QString, front);
    for (const QString &key : {u"return"_s, u"enter"_s, u"ENTER"_s}) {
        QCOMPARE(assess(u"press_key"_s, {{u"key"_s, key}}, front.toUpper()).reason(),
                 u"Press Return in "_s + front + u" — this may send a message"_s);
    }
    QVERIFY(assess(u"press_key"_s, {{u"key"_s, u"tab"_s}}, front).isSafe());
}

void tst_Safety::asksBeforeAConsequentialControl_data()
{
    QTest::addColumn<QString>("label");
    for (const char *label :
         {"send", "delete", "remove", "buy", "purchase", "pay", "place order", "checkout", "submit",
          "confirm order", "erase", "empty trash", "transfer", "Sender", "Payment details", "Repay",
          "Eraser", "DELETE ALL", "Empty Trash…"})
        QTest::newRow(label) << QString::fromUtf8(label);
}

void tst_Safety::asksBeforeAConsequentialControl()
{
    QFETCH(const QString, label);
    QCOMPARE(assess(u"click"_s, {{u"label"_s, label}}, u"Finder"_s).reason(),
             u"Click “"_s + label + u"” in Finder"_s);
}

void tst_Safety::showsTheFrontApplicationCapitalized_data()
{
    QTest::addColumn<QString>("front");
    QTest::addColumn<QString>("shown");
    QTest::newRow("own capitals") << u"WhatsApp"_s << u"Whatsapp"_s;
    QTest::newRow("two words") << u"system settings"_s << u"System Settings"_s;
    QTest::newRow("empty") << u""_s << u""_s;
}

void tst_Safety::showsTheFrontApplicationCapitalized()
{
    QFETCH(const QString, front);
    QFETCH(const QString, shown);
    QCOMPARE(assess(u"click"_s, {{u"label"_s, u"Send"_s}}, front).reason(),
             u"Click “Send” in "_s + shown);
}

void tst_Safety::anApplicationWithoutANameIsNoMessenger()
{
    const AgentAction pressReturn{.name = u"press_key"_s, .args = {{u"key"_s, u"return"_s}}};
    QVERIFY(Safety::assess(pressReturn, Application{.pid = ProcessId{7}}).isSafe());
}

void tst_Safety::withoutAFrontTheDesktopIsAsked()
{
    FakePlatform platform;
    const AgentAction pressReturn{.name = u"press_key"_s, .args = {{u"key"_s, u"return"_s}}};
    QVERIFY(Safety::assess(pressReturn).isSafe());
    platform.fakeWorkspace.front = Application{.pid = ProcessId{7}, .name = u"Mail"_s};
    QCOMPARE(Safety::assess(pressReturn).reason(),
             u"Press Return in Mail — this may send a message"_s);
    QVERIFY(Safety::assess(pressReturn, std::nullopt).isSafe());
}

void tst_Safety::aDesktopThatDoesNotAnswerHasNoFront()
{
    FakePlatform platform;
    platform.fakeWorkspace.front = Application{.pid = ProcessId{7}, .name = u"Mail"_s};
    platform.fakeWorkspace.silence = u"It does not answer."_s;
    const AgentAction action{.name = u"click"_s, .args = {{u"label"_s, u"Send"_s}}};
    QCOMPARE(Safety::assess(action).reason(), u"Click “Send” in "_s);
}

QTEST_APPLESS_MAIN(tst_Safety)
#include "tst_Safety.moc"
