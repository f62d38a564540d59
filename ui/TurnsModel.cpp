#include "ui/TurnsModel.h"

#include "base/ShownText.h"
#include "ui/LogModel.h"

QVariant TurnsModel::data(const QModelIndex &index, int role) const
{
    if (!index.isValid() || index.row() >= records().size())
        return {};
    const Turn &turn = records().at(index.row());
    switch (role) {
    case Command:
        return ShownText::plain(turn.command);
    case Log:
        return QVariant::fromValue(logOf(turn));
    case HasSummary:
        return turn.summary.has_value();
    case Summary:
        return ShownText::plain(turn.summary.value_or(QString()));
    default:
        return {};
    }
}

QHash<int, QByteArray> TurnsModel::roleNames() const
{
    return {{Command, "command"}, {Log, "log"}, {HasSummary, "hasSummary"}, {Summary, "summary"}};
}

QString TurnsModel::textOf(int row) const
{
    if (row < 0 || row >= records().size())
        return {};
    const Turn &turn = records().at(row);
    QStringList lines{turn.command};
    for (const LogEntry &entry : turn.log)
        lines << entry.text;
    if (turn.summary)
        lines << *turn.summary;
    return lines.join(u'\n');
}

void TurnsModel::replaced(const Turn &now)
{
    if (LogModel *const log = m_logs.value(now.id))
        log->setRecords(now.log);
}

void TurnsModel::forget(const Turn &gone)
{
    // Later: a delegate that is being destroyed may still use it.
    if (LogModel *const log = m_logs.take(gone.id))
        log->deleteLater();
}

LogModel *TurnsModel::logOf(const Turn &turn) const
{
    LogModel *&log = m_logs[turn.id];
    if (log == nullptr) {
        log = new LogModel(const_cast<TurnsModel *>(this));
        log->setRecords(turn.log);
    }
    return log;
}
