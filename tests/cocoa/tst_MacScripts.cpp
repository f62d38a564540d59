#include "FakeCocoa.h"
#include "platform/macos/MacScripts.h"

#include <QTest>

using namespace Qt::StringLiterals;

class tst_MacScripts : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void cleanup() { FakeCocoa::reset(); }

    void theTextOfAScriptIsItsResult();
    void aScriptMayReturnNothing();
    void anErrorHasTheSystemsMessageOrNone();
    void anInvalidScriptDoesNotRun();
};

void tst_MacScripts::theTextOfAScriptIsItsResult()
{
    FakeCocoa::scriptText = u"höllo 😀"_s;
    QCOMPARE(MacScripts().run(u"return \"ä\""_s), ScriptOutcome(ScriptResult{u"höllo 😀"_s}));
    QCOMPARE(FakeCocoa::calls, QStringList{u"run return \"ä\""_s});
    FakeCocoa::scriptText = u""_s;
    QCOMPARE(MacScripts().run(u""_s), ScriptOutcome(ScriptResult{u""_s}));
}

void tst_MacScripts::aScriptMayReturnNothing()
{
    QCOMPARE(MacScripts().run(u"beep"_s), ScriptOutcome(ScriptResult{std::nullopt}));
}

void tst_MacScripts::anErrorHasTheSystemsMessageOrNone()
{
    FakeCocoa::failure = u"Expected end of line."_s;
    QCOMPARE(MacScripts().run(u"("_s), ScriptOutcome(ScriptError{u"Expected end of line."_s}));
    FakeCocoa::failure = u""_s;
    QCOMPARE(MacScripts().run(u"("_s), ScriptOutcome(ScriptError{std::nullopt}));
}

void tst_MacScripts::anInvalidScriptDoesNotRun()
{
    FakeCocoa::isNoScript = true;
    QCOMPARE(MacScripts().run(u"beep"_s), ScriptOutcome(NoScript{}));
    QVERIFY(FakeCocoa::calls.isEmpty());
}

QTEST_GUILESS_MAIN(tst_MacScripts)
#include "tst_MacScripts.moc"
