#include "agent/Transcript.h"

#include <QTest>

#include <unordered_set>

using namespace Qt::StringLiterals;

using Kind = LogEntry::Kind;

class tst_Transcript : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void recordsStartEmptyWithANewId();
    void recordsHaveTheirFieldsInThisOrder();
    void kindsHaveTheirOrder();
};

void tst_Transcript::recordsStartEmptyWithANewId()
{
    const Turn turn;
    QVERIFY(turn.command.isEmpty() && turn.log.isEmpty());
    QVERIFY(!turn.finished && !turn.summary);
    QVERIFY(!turn.id.isNull() && turn.id != Turn().id);

    const LogEntry entry{.text = u"Launching Safari"_s};
    QVERIFY(!entry.running);
    QVERIFY(!entry.id.isNull());
    QVERIFY(entry != LogEntry{.text = u"Launching Safari"_s});

    const PendingConfirmation pending;
    QVERIFY(!pending.id.isNull() && pending.id != PendingConfirmation().id);
}

void tst_Transcript::recordsHaveTheirFieldsInThisOrder()
{
    const QUuid id = QUuid::createUuid();
    const LogEntry entry{id, u"text"_s, Kind::info, true};
    QCOMPARE(entry.text, u"text"_s);
    QVERIFY(entry.running);
    const Turn turn{id, u"command"_s, {entry}, true, u"summary"_s};
    QCOMPARE(turn.command, u"command"_s);
    QCOMPARE(turn.log, QList{entry});
    QCOMPARE(turn.summary, u"summary"_s);
    const PendingConfirmation pending{id, AgentAction{.name = u"trash"_s}, u"reason"_s};
    QCOMPARE(pending.action.name, u"trash"_s);
    QCOMPARE(pending.reason, u"reason"_s);
}

void tst_Transcript::kindsHaveTheirOrder()
{
    const QList<Kind> kinds{Kind::step, Kind::success, Kind::failure, Kind::info, Kind::confirm};
    for (qsizetype i = 0; i < kinds.size(); ++i)
        QCOMPARE(static_cast<qsizetype>(kinds[i]), i);
    QCOMPARE(std::unordered_set<Kind>(kinds.begin(), kinds.end()).size(), size_t{5});
}

QTEST_APPLESS_MAIN(tst_Transcript)
#include "tst_Transcript.moc"
