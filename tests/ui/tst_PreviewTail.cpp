#include "ui/PreviewTail.h"

#include <QTest>

using namespace Qt::StringLiterals;

namespace {
const QString flag = u"\U0001F1EB\U0001F1F7"_s; // two code points, four UTF-16 units, one flag
const QString family = u"\U0001F468\u200D\U0001F467"_s; // joined to one grapheme
const QString accented = u"e\u0301"_s;
} // namespace

class tst_PreviewTail : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void showsTheEndAsOneLine_data();
    void showsTheEndAsOneLine();
};

void tst_PreviewTail::showsTheEndAsOneLine_data()
{
    QTest::addColumn<QString>("preview");
    QTest::addColumn<QString>("tail");

    QTest::newRow("nothing") << QString() << QString();
    QTest::newRow("short") << u"{\"action\":\"done\"}"_s << u"{\"action\":\"done\"}"_s;
    QTest::newRow("90 letters") << QString(90, u'a') << QString(90, u'a');
    QTest::newRow("91 letters") << u'b' + QString(90, u'a') << QString(90, u'a');
    QTest::newRow("line feeds") << u"one\ntwo\n\nthree\n"_s << u"one two  three "_s;
    QTest::newRow("only the line feed goes") << u"one\r\ntwo\tthree"_s << u"one\r two\tthree"_s;
    QTest::newRow("90 flags") << flag.repeated(90) << flag.repeated(90);
    QTest::newRow("91 flags") << flag.repeated(91) << flag.repeated(90);
    QTest::newRow("91 families") << family.repeated(91) << family.repeated(90);
    // Qt alone would split them.
    QTest::newRow("91 flags behind an Indic letter")
        << u"\u0915"_s + flag.repeated(91) << flag.repeated(90);
    QTest::newRow("91 accents") << accented.repeated(91) << accented.repeated(90);
    QTest::newRow("an accent at the cut")
        << u'e' + accented + QString(89, u'a') << accented + QString(89, u'a');
    QTest::newRow("a line feed at the cut")
        << u"a\n"_s + QString(89, u'b') << u' ' + QString(89, u'b');
    QTest::newRow("half a character")
        << QString(91, u'a') + QChar(0xD83D) << QString(89, u'a') + QChar(0xD83D);
}

void tst_PreviewTail::showsTheEndAsOneLine()
{
    QFETCH(const QString, preview);
    QFETCH(const QString, tail);
    QCOMPARE(previewTail(preview), tail);
}

QTEST_GUILESS_MAIN(tst_PreviewTail)

#include "tst_PreviewTail.moc"
