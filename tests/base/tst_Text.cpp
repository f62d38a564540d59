#include "base/Text.h"

#include <QTest>

using namespace Qt::StringLiterals;

class tst_Text : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void titleCasesEachWord_data();
    void titleCasesEachWord();
    void findsTheEndsOfGraphemes_data();
    void findsTheEndsOfGraphemes();
    void findsNoMoreGraphemesThanAsked();
    void cutsAtAGrapheme();
    void foldedTextsAreEqualWhateverTheirCaseAndAccents();
    void decodesTheByteOrderMark();
};

void tst_Text::titleCasesEachWord_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("capitalized");

    QTest::newRow("empty") << QString() << QString();
    QTest::newRow("one word") << u"finder"_s << u"Finder"_s;
    QTest::newRow("own capitals are lost") << u"WhatsApp"_s << u"Whatsapp"_s;
    QTest::newRow("two words") << u"system settings"_s << u"System Settings"_s;
    QTest::newRow("tab and line ends part words") << u"a\tb\nc\rd"_s << u"A\tB\nC\rD"_s;
    QTest::newRow("other marks do not")
        << u"o'neil-smith.app a\u00a0b"_s << u"O'neil-smith.app A\u00a0b"_s;
    QTest::newRow("a digit stays") << u"7zip x2y"_s << u"7zip X2y"_s;
    QTest::newRow("spaces are kept") << u"  a  b "_s << u"  A  B "_s;
    QTest::newRow("outside the basic plane") << u"𐐨𐐨 x"_s << u"𐐀𐐨 X"_s;
    QTest::newRow("accents") << u"élan ÉLAN"_s << u"Élan Élan"_s;
}

void tst_Text::titleCasesEachWord()
{
    QFETCH(const QString, text);
    QTEST(Text::titleCased(text), "capitalized");
}

void tst_Text::findsTheEndsOfGraphemes_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QList<qsizetype>>("ends");
    using Ends = QList<qsizetype>;
    QTest::newRow("nothing") << QString() << Ends();
    QTest::newRow("letters") << u"ab"_s << Ends{1, 2};
    QTest::newRow("a combining mark") << u"e\u0301x"_s << Ends{2, 3};
    QTest::newRow("CR LF") << u"\r\nx"_s << Ends{2, 3};
    QTest::newRow("a family") << u"👨‍👩‍👧x"_s << Ends{8, 9};
    QTest::newRow("a skin tone behind a letter") << u"x\U0001f3fdy"_s << Ends{3, 4};
    QTest::newRow("a half-width voiced sound") << u"ｶﾞx"_s << Ends{2, 3};
    QTest::newRow("emoji behind an Indic letter") << u"क😀😀"_s << Ends{1, 3, 5};
}

void tst_Text::findsTheEndsOfGraphemes()
{
    QFETCH(const QString, text);
    QTEST(Text::graphemeBoundaries(text), "ends");
}

void tst_Text::findsNoMoreGraphemesThanAsked()
{
    QCOMPARE(Text::graphemeBoundaries(u"abcd"_s, 2), (QList<qsizetype>{1, 2}));
}

void tst_Text::cutsAtAGrapheme()
{
    QCOMPARE(Text::first(u"👨‍👩‍👧e\u0301x"_s, 2), u"👨‍👩‍👧e\u0301"_s);
    QCOMPARE(Text::first(u"ab"_s, 2), u"ab"_s);
    QCOMPARE(Text::first(u"ab"_s, 3), u"ab"_s);
    QCOMPARE(Text::first(QString(), 1), QString());
}

void tst_Text::foldedTextsAreEqualWhateverTheirCaseAndAccents()
{
    QCOMPARE(Text::folded(u"Über"_s), Text::folded(u"U\u0308BER"_s));
    QVERIFY(Text::folded(u"Über"_s) != Text::folded(u"Uber"_s));
}

void tst_Text::decodesTheByteOrderMark()
{
    QCOMPARE(Text::fromUtf8("\xef\xbb\xbf{}"), u"\ufeff{}"_s);
}

QTEST_APPLESS_MAIN(tst_Text)
#include "tst_Text.moc"
