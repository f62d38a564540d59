#include "app/Terminal.h"

#include <QTest>

using namespace Qt::StringLiterals;

class tst_Terminal : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void showsControlCharactersInsteadOfObeyingThem_data();
    void showsControlCharactersInsteadOfObeyingThem();
};

void tst_Terminal::showsControlCharactersInsteadOfObeyingThem_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("plain");

    QTest::newRow("plain text") << u"“Döner” — 日本語 👩‍👩‍👧 ⌘"_s
                                << u"“Döner” — 日本語 👩‍👩‍👧 ⌘"_s;
    QTest::newRow("line ends stay") << u"a\nb"_s << u"a\nb"_s;
    QTest::newRow("escape sequence") << u"\x1b[2Jx"_s << u"\ufffd[2Jx"_s;
    QTest::newRow("one-character sequence") << u"a\u009b1mb"_s << u"a\ufffd1mb"_s;
    QTest::newRow("carriage return, bell, backspace, tab, delete, NUL")
        << QString(u"\r\a\b\t\x7f\0"_s) << QString(6, QChar::ReplacementCharacter);
    QTest::newRow("overriding the direction")
        << u"\u202a\u202b\u202c\u202d\u202e\u2066\u2067\u2068\u2069"_s
        << QString(9, QChar::ReplacementCharacter);
    QTest::newRow("right-to-left text stays") << u"שלום مرحبا"_s << u"שלום مرحبا"_s;
}

void tst_Terminal::showsControlCharactersInsteadOfObeyingThem()
{
    QFETCH(QString, text);
    QTEST(Terminal::plainText(text), "plain");
}

QTEST_APPLESS_MAIN(tst_Terminal)
#include "tst_Terminal.moc"
