#include "ui/LogEntryStyle.h"

#include <QTest>

using namespace Qt::StringLiterals;

using Kind = LogEntry::Kind;

class tst_LogEntryStyle : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void looksByKind_data();
    void looksByKind();
};

void tst_LogEntryStyle::looksByKind_data()
{
    QTest::addColumn<Kind>("kind");
    QTest::addColumn<bool>("running");
    QTest::addColumn<QString>("symbol");
    QTest::addColumn<ColorRole::Value>("symbolColor");
    QTest::addColumn<ColorRole::Value>("textColor");
    QTest::addColumn<QString>("spoken");

    QTest::newRow("step") << Kind::step << false << u"checkmark"_s << ColorRole::Secondary
                          << ColorRole::Secondary << u"Done"_s;
    QTest::newRow("success") << Kind::success << false << u"checkmark.circle.fill"_s
                             << ColorRole::Green << ColorRole::Primary << u"Finished"_s;
    QTest::newRow("failure") << Kind::failure << false << u"xmark.circle.fill"_s << ColorRole::Red
                             << ColorRole::Red << u"Failed"_s;
    QTest::newRow("info") << Kind::info << false << u"info.circle"_s << ColorRole::Secondary
                          << ColorRole::Secondary << u"Note"_s;
    QTest::newRow("confirm") << Kind::confirm << false << u"hand.raised.fill"_s << ColorRole::Orange
                             << ColorRole::Secondary << u"Needs approval"_s;
    // A spinner replaces the symbol.
    QTest::newRow("running step") << Kind::step << true << QString() << ColorRole::Secondary
                                  << ColorRole::Primary << u"In progress"_s;
    QTest::newRow("running success") << Kind::success << true << QString() << ColorRole::Secondary
                                     << ColorRole::Primary << u"In progress"_s;
    QTest::newRow("running failure") << Kind::failure << true << QString() << ColorRole::Secondary
                                     << ColorRole::Red << u"In progress"_s;
    QTest::newRow("running info") << Kind::info << true << QString() << ColorRole::Secondary
                                  << ColorRole::Primary << u"In progress"_s;
    QTest::newRow("running confirm") << Kind::confirm << true << QString() << ColorRole::Secondary
                                     << ColorRole::Primary << u"In progress"_s;
}

void tst_LogEntryStyle::looksByKind()
{
    QFETCH(const Kind, kind);
    QFETCH(const bool, running);
    QFETCH(const QString, symbol);
    QFETCH(const ColorRole::Value, symbolColor);
    QFETCH(const ColorRole::Value, textColor);
    QFETCH(const QString, spoken);
    const LogEntryStyle look =
        LogEntryStyle::of({.text = u"Anything"_s, .kind = kind, .running = running});
    QCOMPARE(look.symbol, symbol);
    QCOMPARE(look.symbolColor, symbolColor);
    QCOMPARE(look.textColor, textColor);
    QCOMPARE(look.spoken, spoken);
}

QTEST_GUILESS_MAIN(tst_LogEntryStyle)

#include "tst_LogEntryStyle.moc"
