#include "tests/executor/Running.h"
#include "tests/support/FakePlatform.h"

#include <QTest>

#include <array>
#include <numeric>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {
constexpr ProcessId notes{7};
constexpr ProcessId mail{8};

ProcessId ourselves()
{
    return ProcessId{QCoreApplication::applicationPid()};
}

QString typed(const QString &text)
{
    return outcome(u"type_text"_s, {{u"text"_s, text}});
}

QString pressed(const QString &key, const QString &modifiers)
{
    return outcome(u"press_key"_s, {{u"key"_s, key}, {u"modifiers"_s, modifiers}});
}

// The texts of the events, each of which is pressed and released.
QStringList pieces(const QList<KeyEvent> &events)
{
    QStringList found;
    for (qsizetype i = 0; i + 1 < events.size(); i += 2) {
        const QString text = events[i].text;
        if (events[i] != KeyEvent{.isDown = true, .text = text} ||
            events[i + 1] != KeyEvent{.isDown = false, .text = text})
            return {u"no piece"_s};
        found.append(text);
    }
    return found;
}
} // namespace

class tst_Keyboard : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void splitsTextsAtGraphemes_data();
    void splitsTextsAtGraphemes();
    void typesTextUnchanged_data();
    void typesTextUnchanged();
    void typesLongTextInPiecesWithPauses();
    void cancellingDoesNotShortenThePauses();
    void aTextMustNotBeEmpty();

    void keysHaveTheirCodes_data();
    void keysHaveTheirCodes();
    void keysThatAreNotInTheTableAreRefused_data();
    void keysThatAreNotInTheTableAreRefused();
    void modifiersBecomeFlags_data();
    void modifiersBecomeFlags();
    void theResultRepeatsTheKeyAsGiven();
    void aNewTabIsCommandT();
    void aNewTabInAnApplicationOpensItFirst();

    void withoutPermissionNothingIsPostedAndItIsRequested();
    void checksThePermissionBeforeTheKey();

    void returnsTheFocusToTheUsersApplication();
    void withoutAnApplicationNothingIsPosted();
    void anApplicationThatDoesNotTakeTheFocusGetsNothing();
    void typingStopsWhenAnotherApplicationComesToTheFront();
    void typingStopsWhenOurOwnPanelComesToTheFront();
    void aKeyIsNotPressedInAnotherApplication();
    void passesTheSystemsFailuresOn();

private:
    [[nodiscard]] bool isUntouched() const
    {
        return m_platform->fakeKeyboard.events.isEmpty() &&
               m_platform->fakeKeyboard.announced.isEmpty();
    }

    std::unique_ptr<FakePlatform> m_platform;
    std::unique_ptr<SeenPauses> m_pauses;
};

void tst_Keyboard::init()
{
    m_platform = std::make_unique<FakePlatform>();
    m_platform->fakeWorkspace.front = Application{.pid = notes, .name = u"Notes"_s};
    m_pauses = std::make_unique<SeenPauses>();
}

void tst_Keyboard::cleanup()
{
    QCOMPARE(m_platform->fakeKeyboard.openSources, 0);
    m_pauses.reset();
    m_platform.reset();
}

void tst_Keyboard::splitsTextsAtGraphemes_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<int>("size");
    QTest::addColumn<QStringList>("expected");
    QTest::newRow("nothing") << u""_s << 20 << QStringList();
    QTest::newRow("one") << u"a"_s << 20 << QStringList{u"a"_s};
    QTest::newRow("exact") << u"abcd"_s << 2 << QStringList{u"ab"_s, u"cd"_s};
    QTest::newRow("rest") << u"abcde"_s << 2 << QStringList{u"ab"_s, u"cd"_s, u"e"_s};
    QTest::newRow("combining marks")
        << u"e\u0301\u0323o\u0308"_s << 1 << QStringList{u"e\u0301\u0323"_s, u"o\u0308"_s};
    QTest::newRow("line breaks") << u"\r\n\n\r"_s << 1 << QStringList{u"\r\n"_s, u"\n"_s, u"\r"_s};
    QTest::newRow("family") << u"👨‍👩‍👧‍👦x"_s << 1
                            << QStringList{u"👨‍👩‍👧‍👦"_s, u"x"_s};
    QTest::newRow("skin tone") << u"✊🏽✊"_s << 1 << QStringList{u"✊🏽"_s, u"✊"_s};
    QTest::newRow("flags") << u"🇩🇪🇫🇷"_s << 1 << QStringList{u"🇩🇪"_s, u"🇫🇷"_s};
    QTest::newRow("variation") << u"❤️1️⃣"_s << 1 << QStringList{u"❤️"_s, u"1️⃣"_s};
    QTest::newRow("jamo") << u"\u1100\u1161\u11a8\u1100"_s << 1
                          << QStringList{u"\u1100\u1161\u11a8"_s, u"\u1100"_s};
    QTest::newRow("keycap and tags")
        << u"1️⃣🏴󠁧󠁢󠁥󠁮󠁧󠁿🏴"_s << 1
        << QStringList{u"1️⃣"_s, u"🏴󠁧󠁢󠁥󠁮󠁧󠁿"_s, u"🏴"_s};
    QTest::newRow("emoji after Indic letters")
        << u"नी👩‍🚀क 👨‍👩‍👧न्दी\n😀"_s << 1
        << QStringList{u"नी"_s,  u"👩‍🚀"_s, u"क"_s, u" "_s, u"👨‍👩‍👧"_s,
                       u"न्दी"_s, u"\n"_s,          u"😀"_s};
    QTest::newRow("marks of several scripts")
        << u"a\u0301कीxก็x"_s << 1 << QStringList{u"a\u0301"_s, u"की"_s, u"x"_s, u"ก็"_s, u"x"_s};
    QTest::newRow("voiced kana of half width")
        << u"\uff76\uff9e\uff8a\uff9fx"_s << 1
        << QStringList{u"\uff76\uff9e"_s, u"\uff8a\uff9f"_s, u"x"_s};
    QTest::newRow("skin tone behind a letter")
        << u"x\U0001f3fdy"_s << 1 << QStringList{u"x\U0001f3fd"_s, u"y"_s};
    QTest::newRow("lone surrogates")
        << QString(QChar(0xd83d)) + u'a' << 1 << QStringList{QString(QChar(0xd83d)), u"a"_s};
}

void tst_Keyboard::splitsTextsAtGraphemes()
{
    QFETCH(const QString, text);
    QFETCH(const int, size);
    QFETCH(const QStringList, expected);
    QCOMPARE(Executor::chunked(text, size), expected);
}

void tst_Keyboard::typesTextUnchanged_data()
{
    QTest::addColumn<QString>("text");
    QTest::newRow("letter") << u"a"_s;
    QTest::newRow("spaces") << u"  "_s;
    QTest::newRow("white space around") << u"\n\t x \r\n"_s;
    QTest::newRow("accents") << u"Größe, naïveté"_s;
    QTest::newRow("decomposed") << u"e\u0301"_s;
    QTest::newRow("CJK") << u"東京、한국어"_s;
    QTest::newRow("one emoji of many") << u"👨‍👩‍👧‍👦"_s;
    QTest::newRow("null") << QString(u'a') + QChar(u'\0') + u'b';
}

void tst_Keyboard::typesTextUnchanged()
{
    QFETCH(const QString, text);
    QCOMPARE(typed(text), u"Typed text."_s);
    QCOMPARE(pieces(m_platform->fakeKeyboard.events), QStringList{text});
    QCOMPARE(m_platform->fakeKeyboard.announced, QStringList{text});
    QCOMPARE(m_platform->fakeKeyboard.receivers, QList{notes});
    QCOMPARE(m_platform->fakeKeyboard.finishedSources, 1);
}

void tst_Keyboard::typesLongTextInPiecesWithPauses()
{
    const QString text = u"0123456789"_s.repeated(4) + u"abcde"_s;
    QCOMPARE(typed(text), u"Typed text."_s);
    const QString twenty = u"01234567890123456789"_s;
    QCOMPARE(pieces(m_platform->fakeKeyboard.events), (QStringList{twenty, twenty, u"abcde"_s}));
    QCOMPARE(m_pauses->durations, QList<std::chrono::milliseconds>(3, 15ms));
    QCOMPARE(m_platform->fakeKeyboard.announced, QStringList{text});
}

void tst_Keyboard::cancellingDoesNotShortenThePauses()
{
    m_pauses.reset();
    QList<bool> canBeCancelled;
    const Executor::PauseOverride pauses(
        [&](std::chrono::milliseconds, const CancellationToken &cancellation) {
            canBeCancelled.append(cancellation != nullptr);
        });
    const auto stopped = std::make_shared<Cancellation>();
    stopped->cancel();
    QCOMPARE(
        outcome(Executor::run(action(u"type_text"_s, {{u"text"_s, u"x"_s.repeated(30)}}), stopped)),
        u"Typed text."_s);
    QCOMPARE(canBeCancelled, (QList{false, false}));
    QCOMPARE(pieces(m_platform->fakeKeyboard.events).size(), 2);
}

void tst_Keyboard::aTextMustNotBeEmpty()
{
    QCOMPARE(typed(u""_s), u"ActionError: Missing text."_s);
    QCOMPARE(outcome(u"type_text"_s), u"ActionError: Missing text."_s);
    QVERIFY(isUntouched());
}

void tst_Keyboard::keysHaveTheirCodes_data()
{
    QTest::addColumn<quint16>("code");
    struct Key
    {
        const char *name;
        quint16 code;
    };
    constexpr auto keys = std::to_array<Key>({
        {"a", 0},       {"s", 1},          {"d", 2},       {"f", 3},    {"h", 4},
        {"g", 5},       {"z", 6},          {"x", 7},       {"c", 8},    {"v", 9},
        {"b", 11},      {"q", 12},         {"w", 13},      {"e", 14},   {"r", 15},
        {"y", 16},      {"t", 17},         {"1", 18},      {"2", 19},   {"3", 20},
        {"4", 21},      {"6", 22},         {"5", 23},      {"=", 24},   {"9", 25},
        {"7", 26},      {"-", 27},         {"8", 28},      {"0", 29},   {"]", 30},
        {"o", 31},      {"u", 32},         {"[", 33},      {"i", 34},   {"p", 35},
        {"return", 36}, {"enter", 36},     {"l", 37},      {"j", 38},   {"'", 39},
        {"k", 40},      {";", 41},         {"\\", 42},     {",", 43},   {"/", 44},
        {"n", 45},      {"m", 46},         {".", 47},      {"tab", 48}, {"space", 49},
        {"delete", 51}, {"backspace", 51}, {"escape", 53}, {"esc", 53}, {"left", 123},
        {"right", 124}, {"down", 125},     {"up", 126},
    });
    static_assert(std::size(keys) == 58);
    for (const Key &key : keys) {
        QTest::newRow(key.name) << key.code;
        const QByteArray upper = QByteArray(key.name).toUpper();
        if (upper != key.name)
            QTest::newRow(upper) << key.code;
    }
}

void tst_Keyboard::keysHaveTheirCodes()
{
    QFETCH(const quint16, code);
    const QString key = QString::fromUtf8(QTest::currentDataTag());
    QCOMPARE(outcome(u"press_key"_s, {{u"key"_s, key}}), u"Pressed "_s + key + u'.');
    const QList<KeyEvent> expected{{.code = code, .isDown = true}, {.code = code}};
    QCOMPARE(m_platform->fakeKeyboard.events, expected);
    QCOMPARE(m_platform->fakeKeyboard.announced, QStringList{QString()});
    QCOMPARE(m_platform->fakeKeyboard.receivers, QList{notes});
    QCOMPARE(m_platform->fakeKeyboard.finishedSources, 1);
    QVERIFY(m_pauses->durations.isEmpty());
}

void tst_Keyboard::keysThatAreNotInTheTableAreRefused_data()
{
    QTest::addColumn<QString>("key");
    for (const char *key : {"f5", "home", "End", "F1", "pageup", "`", "forwarddelete", "ab", "é",
                            "Command", "numenter"})
        QTest::newRow(key) << QString::fromUtf8(key);
}

void tst_Keyboard::keysThatAreNotInTheTableAreRefused()
{
    QFETCH(const QString, key);
    QCOMPARE(pressed(key, u"command"_s), u"ActionError: Unsupported key “"_s + key + u"”."_s);
    QVERIFY(isUntouched());
}

void tst_Keyboard::modifiersBecomeFlags_data()
{
    QTest::addColumn<QString>("modifiers");
    QTest::addColumn<quint32>("flags");
    QTest::newRow("none") << u""_s << 0U;
    QTest::newRow("command") << u"command"_s << 0x100000U;
    QTest::newRow("cmd") << u"cmd"_s << 0x100000U;
    QTest::newRow("shift") << u"shift"_s << 0x20000U;
    QTest::newRow("option") << u"option"_s << 0x80000U;
    QTest::newRow("alt") << u"alt"_s << 0x80000U;
    QTest::newRow("control") << u"control"_s << 0x40000U;
    QTest::newRow("ctrl") << u"ctrl"_s << 0x40000U;
    QTest::newRow("upper case") << u"CMD"_s << 0x100000U;
    QTest::newRow("plus") << u"Command+Shift"_s << 0x120000U;
    QTest::newRow("comma and space") << u"command, shift"_s << 0x120000U;
    QTest::newRow("space") << u"command shift"_s << 0x120000U;
    QTest::newRow("all kinds") << u"+ctrl,,alt + shift cmd "_s << 0x1e0000U;
    QTest::newRow("repeated") << u"cmd+command"_s << 0x100000U;
    QTest::newRow("unknown") << u"hyper"_s << 0U;
    QTest::newRow("unknown among others") << u"hyper+shift+fn"_s << 0x20000U;
    QTest::newRow("another separator") << u"cmd-shift"_s << 0U;
}

void tst_Keyboard::modifiersBecomeFlags()
{
    QFETCH(const QString, modifiers);
    QFETCH(const quint32, flags);
    QCOMPARE(pressed(u"l"_s, modifiers), u"Pressed l."_s);
    const QList<KeyEvent> expected{{.code = 37, .flags = flags, .isDown = true},
                                   {.code = 37, .flags = flags}};
    QCOMPARE(m_platform->fakeKeyboard.events, expected);
}

void tst_Keyboard::theResultRepeatsTheKeyAsGiven()
{
    QCOMPARE(pressed(u"  L "_s, u"Command + Shift"_s), u"Pressed L."_s);
    QCOMPARE(m_platform->fakeKeyboard.events.constFirst(),
             (KeyEvent{.code = 37, .flags = 0x120000, .isDown = true}));
    QCOMPARE(outcome(u"press_key"_s, {{u"key"_s, u" "_s}}), u"ActionError: Missing key."_s);
}

void tst_Keyboard::aNewTabIsCommandT()
{
    QCOMPARE(outcome(u"new_tab"_s), u"Opened a new tab."_s);
    const QList<KeyEvent> expected{{.code = 17, .flags = 0x100000, .isDown = true},
                                   {.code = 17, .flags = 0x100000}};
    QCOMPARE(m_platform->fakeKeyboard.events, expected);
    QVERIFY(m_platform->fakeWorkspace.launched.isEmpty());
}

void tst_Keyboard::aNewTabInAnApplicationOpensItFirst()
{
    m_platform->fakeWorkspace.folders = {u"/apps"_s};
    m_platform->fakeWorkspace.installed.insert(u"/apps"_s,
                                               {{{u"Safari"_s}, u"/apps/Safari.app"_s}});
    m_platform->fakeKeyboard.afterEachEvent = [this] {
        QCOMPARE(m_platform->fakeWorkspace.launched, QStringList{u"/apps/Safari.app"_s});
        QCOMPARE(m_pauses->durations, QList<std::chrono::milliseconds>{700ms});
    };
    QCOMPARE(outcome(u"new_tab"_s, {{u"app"_s, u"safari"_s}}), u"Opened a new tab."_s);
    QCOMPARE(m_platform->fakeKeyboard.events.size(), 2);

    m_platform->fakeKeyboard.events.clear();
    QCOMPARE(outcome(u"new_tab"_s, {{u"app"_s, u"Chess"_s}}),
             u"ActionError: Couldn't find an app called “Chess”."_s);
    QVERIFY(m_platform->fakeKeyboard.events.isEmpty());
}

void tst_Keyboard::withoutPermissionNothingIsPostedAndItIsRequested()
{
    m_platform->fakeAccessibility.trusted = false;
    QCOMPARE(typed(u"a"_s),
             u"ActionError: Accessibility permission is required to type. Enable it in System "
             "Settings → Privacy & Security → Accessibility."_s);
    QCOMPARE(m_platform->fakeAccessibility.trustRequests, 1);
    const QString refusal =
        u"ActionError: Accessibility permission is required. Enable Quillon in System Settings → "
        "Privacy & Security → Accessibility, then try again."_s;
    QCOMPARE(pressed(u"a"_s, u""_s), refusal);
    QCOMPARE(outcome(u"new_tab"_s), refusal);
    QCOMPARE(m_platform->fakeAccessibility.trustRequests, 3);
    QVERIFY(isUntouched());
    QVERIFY(m_platform->fakeWorkspace.activated.isEmpty());

    m_platform->fakeAccessibility.givesTrust = true;
    QCOMPARE(pressed(u"a"_s, u""_s), u"Pressed a."_s);
    QCOMPARE(m_platform->fakeAccessibility.trustRequests, 4);
}

void tst_Keyboard::checksThePermissionBeforeTheKey()
{
    m_platform->fakeAccessibility.trusted = false;
    QVERIFY(pressed(u"f5"_s, u""_s).startsWith(u"ActionError: Accessibility permission"_s));
    QCOMPARE(m_platform->fakeAccessibility.trustRequests, 1);
}

void tst_Keyboard::returnsTheFocusToTheUsersApplication()
{
    for (const QString &name : {u"type_text"_s, u"press_key"_s, u"new_tab"_s}) {
        m_platform->fakeWorkspace.focused = ourselves();
        m_platform->fakeWorkspace.activated.clear();
        m_platform->fakeKeyboard.events.clear();
        m_platform->fakeKeyboard.afterEachEvent = [this] {
            QCOMPARE(m_platform->fakeWorkspace.activated, QList{notes});
        };
        m_pauses->durations.clear();
        QVERIFY(!outcome(name, {{u"text"_s, u"a"_s}, {u"key"_s, u"a"_s}}).contains(u"Error"_s));
        QCOMPARE(m_pauses->durations.constFirst(), 50ms);
        QCOMPARE(m_platform->fakeKeyboard.events.size(), 2);
    }
    // An application that has the focus is not activated.
    m_platform->fakeWorkspace.activated.clear();
    m_platform->fakeKeyboard.afterEachEvent = nullptr;
    QCOMPARE(typed(u"a"_s), u"Typed text."_s);
    QVERIFY(m_platform->fakeWorkspace.activated.isEmpty());
}

void tst_Keyboard::withoutAnApplicationNothingIsPosted()
{
    const QString refusal =
        u"ActionError: No application is in front to take the keyboard input."_s;
    m_platform->fakeWorkspace.front.reset();
    QCOMPARE(typed(u"a"_s), refusal);
    m_platform->fakeWorkspace.focused = ourselves();
    QCOMPARE(typed(u"a"_s), refusal);
    QCOMPARE(pressed(u"a"_s, u""_s), refusal);
    QVERIFY(isUntouched());
}

void tst_Keyboard::anApplicationThatDoesNotTakeTheFocusGetsNothing()
{
    m_platform->fakeWorkspace.focused = ourselves();
    m_platform->fakeWorkspace.refusesFocus = true;
    QCOMPARE(typed(u"a"_s),
             u"ActionError: The application in front did not take the keyboard input."_s);
    QVERIFY(isUntouched());
    QCOMPARE(std::accumulate(m_pauses->durations.begin(), m_pauses->durations.end(), 0ms), 2000ms);
}

void tst_Keyboard::typingStopsWhenAnotherApplicationComesToTheFront()
{
    m_platform->fakeKeyboard.afterEachEvent = [this] {
        if (m_platform->fakeKeyboard.events.size() == 3)
            m_platform->fakeWorkspace.front = Application{.pid = mail, .name = u"Mail"_s};
    };
    QCOMPARE(typed(u"x"_s.repeated(100)),
             u"ActionError: Typing stopped because the application is no longer in front."_s);
    // The current piece is finished.
    QCOMPARE(pieces(m_platform->fakeKeyboard.events).size(), 2);
    QCOMPARE(m_platform->fakeKeyboard.finishedSources, 1);
}

void tst_Keyboard::typingStopsWhenOurOwnPanelComesToTheFront()
{
    m_platform->fakeKeyboard.afterEachEvent = [this] {
        m_platform->fakeWorkspace.focused = ourselves();
    };
    QCOMPARE(typed(u"x"_s.repeated(100)),
             u"ActionError: Typing stopped because the application is no longer in front."_s);
    QCOMPARE(pieces(m_platform->fakeKeyboard.events).size(), 1);
    QVERIFY(m_platform->fakeWorkspace.activated.isEmpty());
}

void tst_Keyboard::aKeyIsNotPressedInAnotherApplication()
{
    m_pauses.reset();
    m_platform->fakeWorkspace.focused = ourselves();
    const Executor::PauseOverride theft([this](std::chrono::milliseconds, const auto &) {
        m_platform->fakeWorkspace.focused = mail;
    });
    QCOMPARE(pressed(u"a"_s, u""_s), u"ActionError: The application is no longer in front."_s);
    QVERIFY(isUntouched());
}

void tst_Keyboard::passesTheSystemsFailuresOn()
{
    m_platform->fakeKeyboard.failure = u"The X server went away."_s;
    QCOMPARE(typed(u"a"_s), u"PlatformError: The X server went away."_s);
    QCOMPARE(pressed(u"a"_s, u""_s), u"PlatformError: The X server went away."_s);
}

QTEST_GUILESS_MAIN(tst_Keyboard)
#include "tst_Keyboard.moc"
