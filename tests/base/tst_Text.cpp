#include "base/Text.h"

#include <QTest>

using namespace Qt::StringLiterals;

class tst_Text : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void titleCasesEachWord_data();
    void titleCasesEachWord();
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
    QFETCH(QString, text);
    QTEST(Text::titleCased(text), "capitalized");
}

QTEST_APPLESS_MAIN(tst_Text)
#include "tst_Text.moc"
