#include "base/ShownText.h"

#include <QTest>

using namespace Qt::StringLiterals;

class tst_ShownText : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void plainTextHidesNothing_data();
    void plainTextHidesNothing();
    void longBlanksInAQuestionAreCounted_data();
    void longBlanksInAQuestionAreCounted();
    void isIdempotent_data();
    void isIdempotent();
};

namespace {
QString replaced(qsizetype count)
{
    return {count, QChar::ReplacementCharacter};
}

QString character(char32_t code)
{
    return QString::fromUcs4(&code, 1);
}
} // namespace

void tst_ShownText::plainTextHidesNothing_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("plain");
    const auto stays = [](const char *name, const QString &text) {
        QTest::newRow(name) << text << text;
    };
    const auto disappears = [](const char *name, const QString &unseen) {
        const qsizetype count = unseen.toUcs4().size();
        QTest::newRow(name) << u"a"_s + unseen + u"b"_s << u"a"_s + replaced(count) + u"b"_s;
    };

    stays("plain text", u"“Döner” — 日本語 ⌘⌫ 1/2"_s);
    stays("nothing", {});
    stays("line ends", u"a\n\nb"_s);
    stays("right-to-left letters", u"שלום مرحبا"_s);
    stays("pictures of several characters",
          u"👩‍👩‍👧 🏳️‍🌈 ❤️ 👍🏽 1️⃣"_s);
    stays("joined letters of Persian", u"می\u200cخواهم"_s);
    stays("joined letters of Hindi", u"क्\u200dष क्\u200cष"_s);
    stays("accents apart from their letters", u"a\u0301 ế e\u0302\u0301"_s);
    stays("four marks on a letter", u"a\u0301\u0302\u0303\u0304"_s);
    stays("blanks of all kinds", u"a\u00a0b\u2003c\u3000d"_s);

    QTest::newRow("an escape sequence") << u"\x1b[2Jx"_s << u"\ufffd[2Jx"_s;
    QTest::newRow("a sequence of one character") << u"a\u009b1mb"_s << u"a\ufffd1mb"_s;
    disappears("carriage return, bell, backspace, delete, NUL", u"\r\a\b\x7f\0"_s);
    disappears("form feed, vertical tab, next line", u"\f\v\u0085"_s);
    QTest::newRow("a tab") << u"a\tb"_s << u"a⇥b"_s;
    QTest::newRow("separators of lines and paragraphs") << u"a\u2028b\u2029c"_s << u"a⏎b⏎c"_s;
    disappears("overridden directions", u"\u202a\u202b\u202c\u202d\u202e"_s);
    disappears("isolated directions", u"\u2066\u2067\u2068\u2069"_s);
    disappears("marks of direction", u"\u200e\u200f\u061c"_s);
    disappears("blanks without a width", u"\u200b\u2060\ufeff\u180e"_s);
    disappears("joiners between Latin letters", u"\u200c\u200d"_s);
    disappears("hyphens that are not there", u"\u00ad"_s);
    disappears("operators that are not there", u"\u2061\u2062\u2063\u2064"_s);
    disappears("switches that no one uses any more", u"\u206a\u206f"_s);
    disappears("fillers of Korean", u"\u115f\u1160\u3164\uffa0"_s);
    disappears("vowels that are not there", u"\u17b4\u17b5"_s);
    disappears("the joiner of graphemes", u"\u034f"_s);
    disappears("the empty cell of Braille", u"\u2800"_s);
    disappears("selectors of shapes", u"\ufe00\ufe0f"_s + character(0xe0100));
    disappears("letters as tags", character(0xe0061) + character(0xe007f));
    disappears("formats of music and shorthand", character(0x1d173) + character(0x1bca0));
    disappears("the place of an object", u"\ufffc\ufff9"_s);
    disappears("no characters", u"\ufffe\uffff\ufdd0"_s + character(0x10ffff));
    disappears("half characters", QString(QChar(0xdc00)) + QChar(0xd800));
    QTest::newRow("a joiner at the end") << u"می\u200c"_s << u"می\ufffd"_s;
    QTest::newRow("a selector after a selector") << u"❤\ufe0f\ufe0f"_s << u"❤\ufe0f\ufffd"_s;
    QTest::newRow("more marks than a letter has")
        << u"Z"_s + u"\u0351"_s.repeated(60) + u"algo"_s
        << u"Z"_s + u"\u0351"_s.repeated(4) + replaced(56) + u"algo"_s;
    QTest::newRow("enclosing marks")
        << u"a"_s + u"\u20dd"_s.repeated(6) << u"a"_s + u"\u20dd"_s.repeated(4) + replaced(2);
}

void tst_ShownText::plainTextHidesNothing()
{
    QFETCH(const QString, text);
    QTEST(ShownText::plain(text), "plain");
}

void tst_ShownText::longBlanksInAQuestionAreCounted_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("onOneLine");
    QTest::addColumn<QString>("onItsLines");
    const auto blank = [](qsizetype count) { return QString(count, u' '); };

    QTest::newRow("nothing to hide") << u"a b, c"_s << u"a b, c"_s << u"a b, c"_s;
    QTest::newRow("a line end") << u"a\nb"_s << u"a⏎b"_s << u"a\nb"_s;
    QTest::newRow("line ends of all kinds") << u"a\r\nb\rc\vd\fe\u0085f\u2028g\u2029h"_s
                                            << u"a⏎b⏎c⏎d⏎e⏎f⏎g⏎h"_s << u"a\nb\nc\nd\ne\nf\ng\nh"_s;
    QTest::newRow("two empty lines") << u"a\n\n\nb"_s << u"a⏎⏎⏎b"_s << u"a\n\n\nb"_s;
    QTest::newRow("three empty lines") << u"a\n\n\n\nb"_s << u"a⏎×4b"_s << u"a\n⏎×4\nb"_s;
    QTest::newRow("sixty line feeds")
        << u"a"_s + QString(60, u'\n') + u"b"_s << u"a⏎×60b"_s << u"a\n⏎×60\nb"_s;
    QTest::newRow("lines of blanks")
        << u"a"_s + u" \n"_s.repeated(60) + u"b"_s << u"a⏎×60␣×60b"_s << u"a\n⏎×60␣×60\nb"_s;
    QTest::newRow("an indented script")
        << u"tell\n    beep\n\tbeep\nend"_s << u"tell⏎    beep⏎⇥beep⏎end"_s
        << u"tell\n    beep\n⇥beep\nend"_s;
    QTest::newRow("twelve blanks") << u"a"_s + blank(12) + u"b"_s << u"a"_s + blank(12) + u"b"_s
                                   << u"a"_s + blank(12) + u"b"_s;
    QTest::newRow("thirteen blanks") << u"a"_s + blank(13) + u"b"_s << u"a␣×13b"_s << u"a␣×13b"_s;
    QTest::newRow("a line far to the right")
        << u"a\n"_s + blank(500) + u"b"_s << u"a⏎␣×500b"_s << u"a\n␣×500b"_s;
    QTest::newRow("tabs") << u"a"_s + QString(40, u'\t') + u"b"_s << u"a␣×40b"_s << u"a␣×40b"_s;
    QTest::newRow("wide blanks") << u"a"_s + u"\u00a0\u2003\u3000\u202f"_s.repeated(10) + u"b"_s
                                 << u"a␣×40b"_s << u"a␣×40b"_s;
    QTest::newRow("blanks without a width")
        << u"a"_s + u"\u200b"_s.repeated(2) + u"b"_s << u"a\ufffd\ufffdb"_s << u"a\ufffd\ufffdb"_s;
    QTest::newRow("blanks at both ends")
        << blank(20) + u"a"_s + blank(20) << u"␣×20a␣×20"_s << u"␣×20a␣×20"_s;
}

void tst_ShownText::longBlanksInAQuestionAreCounted()
{
    QFETCH(const QString, text);
    QTEST(ShownText::question(text, ShownText::LineEnds::shown), "onOneLine");
    QTEST(ShownText::question(text, ShownText::LineEnds::kept), "onItsLines");
}

void tst_ShownText::isIdempotent_data()
{
    plainTextHidesNothing_data();
}

void tst_ShownText::isIdempotent()
{
    QFETCH(const QString, plain);
    QCOMPARE(ShownText::plain(plain), plain);
}

QTEST_APPLESS_MAIN(tst_ShownText)
#include "tst_ShownText.moc"
