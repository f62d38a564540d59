#include "ui/LogModel.h"

#include "base/ShownText.h"
#include "ui/LogEntryStyle.h"

QVariant LogModel::data(const QModelIndex &index, int role) const
{
    if (!index.isValid() || index.row() >= records().size())
        return {};
    const LogEntry &entry = records().at(index.row());
    switch (role) {
    case Text:
        return ShownText::plain(entry.text);
    case Running:
        return entry.running;
    case Symbol:
        return LogEntryStyle::of(entry).symbol;
    case SymbolColor:
        return int(LogEntryStyle::of(entry).symbolColor);
    case TextColor:
        return int(LogEntryStyle::of(entry).textColor);
    case Spoken:
        return LogEntryStyle::of(entry).spoken;
    default:
        return {};
    }
}

QHash<int, QByteArray> LogModel::roleNames() const
{
    return {{Text, "text"},           {Running, "running"},
            {Symbol, "symbol"},       {SymbolColor, "symbolColor"},
            {TextColor, "textColor"}, {Spoken, "spoken"}};
}
