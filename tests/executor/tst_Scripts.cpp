#include "tests/executor/Running.h"
#include "tests/support/FakePlatform.h"

#include <QTest>

using namespace Qt::StringLiterals;

class tst_Scripts : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void reportsTheOutcomeOfAScript_data();
    void reportsTheOutcomeOfAScript();
    void trimsTheSource();
    void withoutASourceNothingRuns();
};

void tst_Scripts::reportsTheOutcomeOfAScript_data()
{
    QTest::addColumn<ScriptOutcome>("became");
    QTest::addColumn<QString>("sentence");
    QTest::newRow("no script") << ScriptOutcome(NoScript{}) << u"Script ran."_s;
    QTest::newRow("nothing") << ScriptOutcome(ScriptResult{}) << u"Script ran."_s;
    QTest::newRow("text") << ScriptOutcome(ScriptResult{u"hi"_s}) << u"Script returned: hi"_s;
    QTest::newRow("empty text") << ScriptOutcome(ScriptResult{u""_s}) << u"Script returned: "_s;
    QTest::newRow("error") << ScriptOutcome(ScriptError{u"Expected end of line."_s})
                           << u"ActionError: AppleScript error: Expected end of line."_s;
    QTest::newRow("error without a message")
        << ScriptOutcome(ScriptError{}) << u"ActionError: AppleScript error: unknown"_s;
}

void tst_Scripts::reportsTheOutcomeOfAScript()
{
    QFETCH(const ScriptOutcome, became);
    QFETCH(const QString, sentence);
    FakePlatform platform;
    platform.fakeScripts.outcome = became;
    QCOMPARE(outcome(u"applescript"_s, {{u"script"_s, u"beep"_s}}), sentence);
    QCOMPARE(platform.fakeScripts.sources, QStringList{u"beep"_s});
}

void tst_Scripts::trimsTheSource()
{
    const FakePlatform platform;
    QCOMPARE(outcome(u"applescript"_s, {{u"script"_s, u" tell me\n  \"x\"\nend\n"_s}}),
             u"Script ran."_s);
    QCOMPARE(platform.fakeScripts.sources, QStringList{u"tell me\n  \"x\"\nend"_s});
}

void tst_Scripts::withoutASourceNothingRuns()
{
    const FakePlatform platform;
    QCOMPARE(outcome(u"applescript"_s), u"ActionError: Missing script."_s);
    QCOMPARE(outcome(u"applescript"_s, {{u"script"_s, u" \n"_s}}),
             u"ActionError: Missing script."_s);
    QVERIFY(platform.fakeScripts.sources.isEmpty());
}

QTEST_GUILESS_MAIN(tst_Scripts)
#include "tst_Scripts.moc"
