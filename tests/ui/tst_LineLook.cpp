#include "ui/LineLook.h"

#include <QTest>

using namespace Qt::StringLiterals;

using Kind = LogEntry::Kind;

class tst_LineLook : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void looksByKind_data();
    void looksByKind();
};

void tst_LineLook::looksByKind_data()
{
    QTest::addColumn<Kind>("kind");
    QTest::addColumn<bool>("running");
    QTest::addColumn<QString>("symbol");
    QTest::addColumn<Tone::Value>("symbolTone");
    QTest::addColumn<Tone::Value>("textTone");
    QTest::addColumn<QString>("spoken");

    QTest::newRow("step") << Kind::step << false << u"checkmark"_s << Tone::Secondary
                          << Tone::Secondary << u"Done"_s;
    QTest::newRow("success") << Kind::success << false << u"checkmark.circle.fill"_s << Tone::Green
                             << Tone::Primary << u"Finished"_s;
    QTest::newRow("failure") << Kind::failure << false << u"xmark.circle.fill"_s << Tone::Red
                             << Tone::Red << u"Failed"_s;
    QTest::newRow("info") << Kind::info << false << u"info.circle"_s << Tone::Secondary
                          << Tone::Secondary << u"Note"_s;
    QTest::newRow("confirm") << Kind::confirm << false << u"hand.raised.fill"_s << Tone::Orange
                             << Tone::Secondary << u"Needs approval"_s;
    // A spinner stands in the symbol's place.
    QTest::newRow("running step") << Kind::step << true << QString() << Tone::Secondary
                                  << Tone::Primary << u"In progress"_s;
    QTest::newRow("running success") << Kind::success << true << QString() << Tone::Secondary
                                     << Tone::Primary << u"In progress"_s;
    QTest::newRow("running failure")
        << Kind::failure << true << QString() << Tone::Secondary << Tone::Red << u"In progress"_s;
    QTest::newRow("running info") << Kind::info << true << QString() << Tone::Secondary
                                  << Tone::Primary << u"In progress"_s;
    QTest::newRow("running confirm") << Kind::confirm << true << QString() << Tone::Secondary
                                     << Tone::Primary << u"In progress"_s;
}

void tst_LineLook::looksByKind()
{
    QFETCH(const Kind, kind);
    QFETCH(const bool, running);
    QFETCH(const QString, symbol);
    QFETCH(const Tone::Value, symbolTone);
    QFETCH(const Tone::Value, textTone);
    QFETCH(const QString, spoken);
    const LineLook look = LineLook::of({.text = u"Anything"_s, .kind = kind, .running = running});
    QCOMPARE(look.symbol, symbol);
    QCOMPARE(look.symbolTone, symbolTone);
    QCOMPARE(look.textTone, textTone);
    QCOMPARE(look.spoken, spoken);
}

QTEST_GUILESS_MAIN(tst_LineLook)

#include "tst_LineLook.moc"
