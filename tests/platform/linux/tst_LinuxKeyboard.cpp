#include "tests/platform/linux/KeyboardFixture.h"
#include "tests/support/Waiting.h"

#include <QTimer>

using namespace Qt::StringLiterals;

namespace {
// Letters of both cases and scripts, characters of every level, grapheme clusters, more different
// characters than there are spare keys, line breaks and tabs.
const QString everything =
    u"The quick \"brown\" fox; 0123456789 !@#$%^&*()_+-=[]{}\\|;:',./<>?`~\n"
    "Größe, naïveté, ÇA où ÿŸ ẞß ₤€ ½\tŁódź İıσςΣ\r\n"
    "Жук шёл, ЁЖ щи їґ — «кавычки» 東京特許許可局 한국어 ไทย العربية עברית हिन्दी\r"
    "😀 👨‍👩‍👧‍👦 ✊🏽 ❤️ 1️⃣ 🇩🇪🇯🇵 🏴󠁧󠁢󠁥󠁮󠁧󠁿 e\u0301o\u0308\u0323 𝔘𝔫𝔦 end"_s;

QString asWritten(QString text)
{
    return text.replace(u"\r\n"_s, u"\n"_s).replace(u'\r', u'\n');
}
} // namespace

class tst_LinuxKeyboard : public KeyboardFixture
{
    Q_OBJECT

private Q_SLOTS:
    void applicationsReceiveTheExactText_data();
    void applicationsReceiveTheExactText();
    void terminalsReceiveTheExactText();
    void typesInEveryLayout_data();
    void typesInEveryLayout();

    void keysHaveTheirFunctions_data();
    void keysHaveTheirFunctions();
    void shortcutsWorkInOtherLayouts_data();
    void shortcutsWorkInOtherLayouts();
    void reportsAMissingModifier_data();
    void reportsAMissingModifier();

    void typesIntoTheApplicationBehindOurWindow();
    void stopsWhenAnotherWindowTakesTheFocus();

private:
    std::unique_ptr<Receiver> m_terminal; ///< Of the test with a row for each key.
};

void tst_LinuxKeyboard::applicationsReceiveTheExactText_data()
{
    QTest::addColumn<QString>("program");
    QTest::addColumn<QStringList>("options");
    QTest::newRow("GTK 3") << u"mousepad"_s << QStringList();
    QTest::newRow("GTK 4") << u"gnome-text-editor"_s << QStringList{u"--standalone"_s};
    QTest::newRow("Qt") << u"featherpad"_s << QStringList{u"--standalone"_s};
}

void tst_LinuxKeyboard::applicationsReceiveTheExactText()
{
    QFETCH(const QString, program);
    QFETCH(const QStringList, options);
    const auto receiver = editor(program, options);
    QCOMPARE(typed(everything), u"Typed text."_s);
    QCOMPARE(keyboardMap(), m_map);
    QCOMPARE(pressed(u"s"_s, u"command"_s), u"Pressed s."_s);
    QTRY_COMPARE(QString::fromUtf8(receiver->received()).trimmed(), asWritten(everything));
}

void tst_LinuxKeyboard::terminalsReceiveTheExactText()
{
    const auto receiver = terminal(u"terminal"_s);
    QCOMPARE(typed(everything), u"Typed text."_s);
    QCOMPARE(keyboardMap(), m_map);
    QTRY_COMPARE(QString::fromUtf8(receiver->received()), asWritten(everything));
    // No key types these: control characters, and an unpaired surrogate.
    QCOMPARE(typed(u"a\x01\x1b\x7f\u0085"_s + QChar(0xd83d) + u'b'), u"Typed text."_s);
    QTRY_COMPARE(QString::fromUtf8(receiver->received()), asWritten(everything) + u"a\ufffdb"_s);
}

void tst_LinuxKeyboard::typesInEveryLayout_data()
{
    QTest::addColumn<QStringList>("layout");
    QTest::addColumn<int>("group");
    QTest::newRow("us") << QStringList{u"us"_s} << 0;
    QTest::newRow("German") << QStringList{u"de"_s} << 0;
    QTest::newRow("French") << QStringList{u"fr"_s} << 0;
    QTest::newRow("Russian") << QStringList{u"ru"_s} << 0;
    QTest::newRow("Dvorak") << QStringList{u"us"_s, u"-variant"_s, u"dvorak"_s} << 0;
    QTest::newRow("Neo") << QStringList{u"de"_s, u"-variant"_s, u"neo"_s} << 0;
    QTest::newRow("second of two") << QStringList{u"us,ru"_s} << 1;
    QTest::newRow("third of three") << QStringList{u"us,fr,gr"_s} << 2;
}

void tst_LinuxKeyboard::typesInEveryLayout()
{
    QFETCH(const QStringList, layout);
    QFETCH(const int, group);
    const auto receiver = terminal(u"layout"_s);
    setLayout(layout);
    m_server->lockGroup(group);
    const QByteArray map = keyboardMap();
    const QString text =
        everything.section(u'\n', 0, 0) +
        u"\täöüÄ ẞß Жук шёл ЁЖ σς 東京 👨‍👩‍👧‍👦 🇩🇪"_s;
    QCOMPARE(typed(text), u"Typed text."_s);
    QCOMPARE(keyboardMap(), map);
    QCOMPARE(m_server->group(), group);
    QTRY_COMPARE(QString::fromUtf8(receiver->received()), text);
    m_server->lockGroup(0);
}

void tst_LinuxKeyboard::keysHaveTheirFunctions_data()
{
    QTest::addColumn<QString>("key");
    QTest::addColumn<QString>("modifiers");
    QTest::addColumn<QByteArray>("received");
    for (const char *character :
         {"a", "s", "d", "f", "h", "g", "z", "x", "c",  "v", "b", "q", "w", "e", "r", "y",
          "t", "1", "2", "3", "4", "6", "5", "=", "9",  "7", "-", "8", "0", "]", "o", "u",
          "[", "i", "p", "l", "j", "'", "k", ";", "\\", ",", "/", "n", "m", "."}) {
        QTest::newRow(character) << QString::fromLatin1(character) << u""_s
                                 << QByteArray(character);
    }
    QTest::newRow("return") << u"return"_s << u""_s << "\n"_ba;
    QTest::newRow("enter") << u"ENTER"_s << u""_s << "\n"_ba;
    QTest::newRow("tab") << u"tab"_s << u""_s << "\t"_ba;
    QTest::newRow("space") << u"space"_s << u""_s << " "_ba;
    QTest::newRow("delete") << u"delete"_s << u""_s << "\x7f"_ba;
    QTest::newRow("backspace") << u"backspace"_s << u""_s << "\x7f"_ba;
    QTest::newRow("escape") << u"escape"_s << u""_s << "\x1b"_ba;
    QTest::newRow("esc") << u"esc"_s << u""_s << "\x1b"_ba;
    QTest::newRow("up") << u"up"_s << u""_s << "\x1b[A"_ba;
    QTest::newRow("down") << u"down"_s << u""_s << "\x1b[B"_ba;
    QTest::newRow("right") << u"right"_s << u""_s << "\x1b[C"_ba;
    QTest::newRow("left") << u"left"_s << u""_s << "\x1b[D"_ba;
    QTest::newRow("shift") << u"a"_s << u"shift"_s << "A"_ba;
    QTest::newRow("command is control") << u"l"_s << u"command"_s << "\x0c"_ba;
    QTest::newRow("control") << u"l"_s << u"control"_s << "\x0c"_ba;
    QTest::newRow("option is alt") << u"x"_s << u"option"_s << "\x1bx"_ba;
    QTest::newRow("all of them") << u"left"_s << u"cmd+alt+shift"_s << "\x1b[1;8D"_ba;
}

void tst_LinuxKeyboard::keysHaveTheirFunctions()
{
    QFETCH(const QString, key);
    QFETCH(const QString, modifiers);
    QFETCH(const QByteArray, received);
    if (!m_terminal)
        m_terminal = terminal(u"keys"_s);
    const QByteArray before = m_terminal->received();
    QCOMPARE(pressed(key, modifiers), u"Pressed "_s + key + u'.');
    QTRY_COMPARE(m_terminal->received(), before + received);
}

void tst_LinuxKeyboard::shortcutsWorkInOtherLayouts_data()
{
    QTest::addColumn<QString>("layout");
    QTest::newRow("us") << u"us"_s;
    QTest::newRow("Russian") << u"ru"_s;
    QTest::newRow("French") << u"fr"_s;
    QTest::newRow("Greek") << u"gr"_s;
}

void tst_LinuxKeyboard::shortcutsWorkInOtherLayouts()
{
    QFETCH(const QString, layout);
    m_terminal.reset();
    setLayout({layout});
    const QByteArray map = keyboardMap();
    const auto receiver = editor(u"mousepad"_s);
    QCOMPARE(typed(u"this is going to be replaced"_s), u"Typed text."_s);
    QCOMPARE(pressed(u"a"_s, u"command"_s), u"Pressed a."_s);
    QCOMPARE(typed(u"kept"_s), u"Typed text."_s);
    QCOMPARE(pressed(u"s"_s, u"command"_s), u"Pressed s."_s);
    QTRY_COMPARE(receiver->received().trimmed(), "kept"_ba);
    QCOMPARE(keyboardMap(), map);
}

void tst_LinuxKeyboard::reportsAMissingModifier_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("modifier");
    QTest::newRow("Alt") << u"mod1"_s << u"option"_s;
    QTest::newRow("Control") << u"control"_s << u"command"_s;
}

void tst_LinuxKeyboard::reportsAMissingModifier()
{
    QFETCH(const QString, name);
    QFETCH(const QString, modifier);
    const auto receiver = terminal(u"lacking"_s);
    (void)output(u"xmodmap"_s, {u"-e"_s, u"clear "_s + name});
    QCOMPARE(pressed(u"x"_s, modifier),
             u"PlatformError: The keyboard layout lacks one of the modifier keys."_s);
    QCOMPARE(pressed(u"y"_s), u"Pressed y."_s);
    QTRY_COMPARE(receiver->received(), "y"_ba);
}

void tst_LinuxKeyboard::typesIntoTheApplicationBehindOurWindow()
{
    const auto receiver = terminal(u"behind"_s);
    const xcb_window_t window = m_server->showWindow();
    const ProcessId ourselves{QCoreApplication::applicationPid()};
    QTRY_COMPARE(Platform::current().workspace().focusedProcess(), ourselves);
    QCOMPARE(typed(u"for the terminal"_s), u"Typed text."_s);
    QTRY_COMPARE(receiver->received(), "for the terminal"_ba);
    QVERIFY(Platform::current().workspace().focusedProcess() != ourselves);
    m_server->closeWindow(window);
}

void tst_LinuxKeyboard::stopsWhenAnotherWindowTakesTheFocus()
{
    const auto other = terminal(u"other"_s);
    const auto receiver = terminal(u"stolen"_s);
    QTimer::singleShot(200, this, [&] {
        Platform::current().workspace().activate(ProcessId{other->process().processId()});
    });
    const QByteArray text = QByteArray("0123456789").repeated(100);
    // Either the executor or the keyboard program reports it.
    QCOMPARE(typed(QString::fromLatin1(text)).section(u": "_s, 1),
             u"Typing stopped because the application is no longer in front."_s);
    QTRY_VERIFY(!receiver->received().isEmpty());
    QVERIFY(receiver->received().size() < text.size());
    QVERIFY(text.startsWith(receiver->received()));
    QCOMPARE(other->received(), QByteArray());
}

QTEST_GUILESS_MAIN(tst_LinuxKeyboard)

#include "tst_LinuxKeyboard.moc"
