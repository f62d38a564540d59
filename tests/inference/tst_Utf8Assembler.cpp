#include "inference/Utf8Assembler.h"

#include <QTest>

using namespace Qt::StringLiterals;

class tst_Utf8Assembler : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void returnsCompleteCharactersOnly_data();
    void returnsCompleteCharactersOnly();
};

namespace {
// The results of add(), with a bar for nothing.
QStringList assembled(const QByteArrayList &pieces)
{
    Utf8Assembler assembler;
    QStringList texts;
    for (const QByteArray &piece : pieces) {
        const auto text =
            assembler.add({piece.constData(), static_cast<std::size_t>(piece.size())});
        texts << text.value_or(u"|"_s);
    }
    return texts;
}
} // namespace

void tst_Utf8Assembler::returnsCompleteCharactersOnly_data()
{
    QTest::addColumn<QByteArrayList>("pieces");
    QTest::addColumn<QStringList>("texts");

    const QStringList nothing{u"|"_s};
    QTest::newRow("plain") << QByteArrayList{"ab", "c"} << QStringList{u"ab"_s, u"c"_s};
    QTest::newRow("empty piece") << QByteArrayList{"", "a", ""}
                                 << QStringList{u""_s, u"a"_s, u""_s};
    QTest::newRow("whole characters") << QByteArrayList{"ä€😀"} << QStringList{u"ä€😀"_s};
    QTest::newRow("two bytes split")
        << QByteArrayList{"\xc3", "\xa4"} << QStringList{u"|"_s, u"ä"_s};
    QTest::newRow("four bytes in halves")
        << QByteArrayList{"\xf0\x9f", "\x98\x80"} << QStringList{u"|"_s, u"😀"_s};
    QTest::newRow("four bytes one by one") << QByteArrayList{"\xf0", "\x9f", "\x98", "\x80"}
                                           << QStringList{u"|"_s, u"|"_s, u"|"_s, u"😀"_s};
    QTest::newRow("what stands before waits too") << QByteArrayList{"ab\xe2", "\x82",
                                                                    "\xac"
                                                                    "c"}
                                                  << QStringList{u"|"_s, u"|"_s, u"ab€c"_s};
    QTest::newRow("an empty piece completes nothing")
        << QByteArrayList{"\xc3", "", "\xa4"} << QStringList{u"|"_s, u"|"_s, u"ä"_s};
    QTest::newRow("bytes that never become text")
        << QByteArrayList{"\xff", "a"} << QStringList{u"|"_s, u"|"_s};
    QTest::newRow("overlong") << QByteArrayList{"\xc0\x80"} << nothing;
    QTest::newRow("surrogate") << QByteArrayList{"\xed\xa0\x80"} << nothing;
    QTest::newRow("past the last character") << QByteArrayList{"\xf4\x90\x80\x80"} << nothing;
    QTest::newRow("byte order mark") << QByteArrayList{"\xef\xbb\xbf"
                                                       "a"}
                                     << QStringList{u"\ufeffa"_s};
    QTest::newRow("zero byte") << QByteArrayList{QByteArray("a\0b", 3)}
                               << QStringList{QString::fromLatin1("a\0b", 3)};
}

void tst_Utf8Assembler::returnsCompleteCharactersOnly()
{
    QFETCH(const QByteArrayList, pieces);
    QTEST(assembled(pieces), "texts");
}

QTEST_APPLESS_MAIN(tst_Utf8Assembler)
#include "tst_Utf8Assembler.moc"
