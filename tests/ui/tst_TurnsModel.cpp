#include "ui/LogEntryStyle.h"
#include "ui/LogModel.h"
#include "ui/TurnsModel.h"

#include <QAbstractItemModelTester>
#include <QSignalSpy>
#include <QTest>

using namespace Qt::StringLiterals;

using Kind = LogEntry::Kind;

namespace {
Turn turn(const QString &command)
{
    return {.command = command};
}

/// Counts the signals of a model.
struct Announcements
{
    explicit Announcements(QAbstractItemModel &model)
        : inserted(&model, &QAbstractItemModel::rowsInserted)
        , removed(&model, &QAbstractItemModel::rowsRemoved)
        , changed(&model, &QAbstractItemModel::dataChanged)
        , reset(&model, &QAbstractItemModel::modelReset)
    {
    }

    /// The numbers of inserted, removed and changed rows since the last call.
    QList<int> take()
    {
        QList<int> result{0, 0, 0};
        for (const QList<QVariant> &call : inserted)
            result[0] += call[2].toInt() - call[1].toInt() + 1;
        for (const QList<QVariant> &call : removed)
            result[1] += call[2].toInt() - call[1].toInt() + 1;
        result[2] = static_cast<int>(changed.size());
        inserted.clear();
        removed.clear();
        changed.clear();
        return result;
    }

    QSignalSpy inserted;
    QSignalSpy removed;
    QSignalSpy changed;
    QSignalSpy reset;
};

LogModel *logAt(const TurnsModel &model, int row)
{
    return model.index(row).data(TurnsModel::Log).value<LogModel *>();
}
} // namespace

class tst_TurnsModel : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void showsTurns();
    void announcesOnlyWhatDiffers();
    void aTurnKeepsItsLog();
    void rewritesLinesInPlace();
    void tellsLinesOfTheSameTextApart();
    void answersNothingForRowsThatAreNotThere();
    void givesTheTextOfATurn();
};

void tst_TurnsModel::showsTurns()
{
    TurnsModel model;
    const QAbstractItemModelTester tester(&model,
                                          QAbstractItemModelTester::FailureReportingMode::QtTest);
    Turn first = turn(u"Open Mail"_s);
    first.log = {{.text = u"Launching Mail"_s, .kind = Kind::step, .running = true}};
    Turn second = turn(u"Open Music"_s);
    second.summary = QString();
    model.setRecords({first, second});

    QCOMPARE(model.rowCount(), 2);
    QCOMPARE(model.index(0).data(TurnsModel::Command), u"Open Mail"_s);
    QCOMPARE(model.index(0).data(TurnsModel::HasSummary), false);
    QCOMPARE(model.index(1).data(TurnsModel::HasSummary), true);
    QCOMPARE(model.index(1).data(TurnsModel::Summary), QString());
    const LogModel &log = *logAt(model, 0);
    QCOMPARE(log.rowCount(), 1);
    QCOMPARE(log.index(0).data(LogModel::Text), u"Launching Mail"_s);
    QCOMPARE(log.index(0).data(LogModel::Running), true);
    QCOMPARE(log.index(0).data(LogModel::Symbol), QString());
    QCOMPARE(log.index(0).data(LogModel::TextColor), int(ColorRole::Primary));
    QCOMPARE(log.index(0).data(LogModel::SymbolColor), int(ColorRole::Secondary));
    QCOMPARE(logAt(model, 1)->rowCount(), 0);

    const QHash<int, QByteArray> roles = model.roleNames();
    QCOMPARE(QSet<QByteArray>(roles.begin(), roles.end()),
             QSet<QByteArray>({"command", "log", "hasSummary", "summary"}));
    const QHash<int, QByteArray> lineRoles = log.roleNames();
    QCOMPARE(QSet<QByteArray>(lineRoles.begin(), lineRoles.end()),
             QSet<QByteArray>({"text", "running", "symbol", "symbolColor", "textColor", "spoken"}));
}

void tst_TurnsModel::announcesOnlyWhatDiffers()
{
    TurnsModel model;
    const QAbstractItemModelTester tester(&model,
                                          QAbstractItemModelTester::FailureReportingMode::QtTest);
    Announcements told(model);
    QList<Turn> turns{turn(u"a"_s), turn(u"b"_s)};
    model.setRecords(turns);
    QCOMPARE(told.take(), QList<int>({2, 0, 0}));
    model.setRecords(turns);
    QCOMPARE(told.take(), QList<int>({0, 0, 0}));
    turns[1].summary = u"Done"_s;
    model.setRecords(turns);
    QCOMPARE(told.take(), QList<int>({0, 0, 1}));
    turns << turn(u"c"_s);
    model.setRecords(turns);
    QCOMPARE(told.take(), QList<int>({1, 0, 0}));
    turns.removeFirst();
    model.setRecords(turns);
    QCOMPARE(model.index(0).data(TurnsModel::Command), u"b"_s);
    QCOMPARE(told.take(), QList<int>({2, 3, 0}));
    model.setRecords({});
    QCOMPARE(told.take(), QList<int>({0, 2, 0}));
    QVERIFY(told.reset.isEmpty());
}

void tst_TurnsModel::aTurnKeepsItsLog()
{
    TurnsModel model;
    QList<Turn> turns{turn(u"a"_s)};
    model.setRecords(turns);
    const QPointer<LogModel> log = logAt(model, 0);
    turns[0].log << LogEntry{.text = u"Launching Mail"_s};
    turns << turn(u"b"_s);
    model.setRecords(turns);
    QCOMPARE(logAt(model, 0), log.data());
    QCOMPARE(log->rowCount(), 1);
    model.setRecords({});
    QTRY_VERIFY(!log);
}

void tst_TurnsModel::rewritesLinesInPlace()
{
    TurnsModel model;
    QList<Turn> turns{turn(u"a"_s)};
    turns[0].log = {{.text = u"Launching Mail"_s}, {.text = u"Typing"_s, .running = true}};
    model.setRecords(turns);
    LogModel &log = *logAt(model, 0);
    Announcements told(log);
    turns[0].log[1].kind = Kind::failure;
    turns[0].log[1].running = false;
    model.setRecords(turns);
    QCOMPARE(told.take(), QList<int>({0, 0, 1}));
    QCOMPARE(log.index(1).data(LogModel::Symbol), u"xmark.circle.fill"_s);
    turns[0].log << LogEntry{.text = u"Cancelled"_s, .kind = Kind::info};
    model.setRecords(turns);
    QCOMPARE(told.take(), QList<int>({1, 0, 0}));
    QVERIFY(told.reset.isEmpty());
}

void tst_TurnsModel::tellsLinesOfTheSameTextApart()
{
    TurnsModel model;
    QList<Turn> turns{turn(u"a"_s)};
    turns[0].log = {{.text = u"Launching Mail"_s}, {.text = u"Launching Mail"_s, .running = true}};
    model.setRecords(turns);
    LogModel &log = *logAt(model, 0);
    Announcements told(log);
    turns[0].log[1].running = false;
    model.setRecords(turns);
    QCOMPARE(told.changed.size(), 1);
    QCOMPARE(told.changed[0][0].toModelIndex().row(), 1);
}

void tst_TurnsModel::answersNothingForRowsThatAreNotThere()
{
    TurnsModel model;
    QVERIFY(!model.data({}, TurnsModel::Command).isValid());
    model.setRecords({turn(u"a"_s)});
    QVERIFY(!model.data(model.index(0), Qt::DisplayRole).isValid());
    QVERIFY(!logAt(model, 0)->data({}, LogModel::Text).isValid());
    QCOMPARE(model.textOf(-1), QString());
    QCOMPARE(model.textOf(1), QString());
}

void tst_TurnsModel::givesTheTextOfATurn()
{
    TurnsModel model;
    Turn complete = turn(u"Open Mail"_s);
    complete.log = {{.text = u"Launching Mail"_s},
                    {.text = u"Mail is open."_s, .kind = Kind::success}};
    complete.summary = u"Mail is open."_s;
    model.setRecords({turn(u"Nothing yet"_s), complete});
    QCOMPARE(model.textOf(0), u"Nothing yet"_s);
    QCOMPARE(model.textOf(1), u"Open Mail\nLaunching Mail\nMail is open.\nMail is open."_s);
}

QTEST_GUILESS_MAIN(tst_TurnsModel)

#include "tests/support/Waiting.h"
#include "tst_TurnsModel.moc"
