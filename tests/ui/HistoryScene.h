#pragma once

#include "tests/ui/PanelTest.h"

#include <algorithm>
#include <optional>

using Qt::StringLiterals::operator""_s;

inline Turn turnOf(const QString &command, const QList<LogEntry> &log,
                   const std::optional<QString> &summary = {})
{
    return {.command = command, .log = log, .finished = true, .summary = summary};
}

inline QList<Turn> manyTurns(int count)
{
    QList<Turn> turns;
    for (int i = 0; i < count; ++i) {
        turns << turnOf(u"Task %1"_s.arg(i),
                        {{.text = u"Searching Downloads"_s, .kind = LogEntry::Kind::step},
                         {.text = u"Found it."_s, .kind = LogEntry::Kind::success}},
                        u"Found it."_s);
    }
    return turns;
}

/// A panel whose list of turns is of interest.
struct HistoryScene : PanelScene
{
    using PanelScene::PanelScene;

    [[nodiscard]] QQuickItem &list() const { return item(u"turns"_s); }
    [[nodiscard]] double contentY() const { return list().property("contentY").toDouble(); }
    /// The position of the row in the visible part of the list.
    [[nodiscard]] QRectF place(const QQuickItem *row) const
    {
        return row->mapRectToItem(&list(), row->boundingRect());
    }
    /// The visible rows from top to bottom; the list caches others.
    [[nodiscard]] QList<QQuickItem *> rows() const
    {
        QList<QQuickItem *> seen;
        for (QQuickItem *const row : all(u"turn"_s)) {
            if (place(row).intersects(list().boundingRect()))
                seen << row;
        }
        std::ranges::sort(seen, {}, [this](QQuickItem *row) { return place(row).top(); });
        return seen;
    }
    /// Whether the list is scrolled to the end of the last turn.
    [[nodiscard]] bool showsEnd() const
    {
        const QList<QQuickItem *> seen = rows();
        return !seen.isEmpty() &&
               seen.last()->property("command") == session->turns().last().command &&
               qAbs(place(seen.last()).bottom() - (list().height() - 20)) <= 1;
    }
    [[nodiscard]] QQuickItem &part(const QQuickItem *line, const QString &name) const
    {
        QQuickItem *const found = find(name, const_cast<QQuickItem *>(line));
        if (found == nullptr)
            qFatal("The line has no %s.", qPrintable(name));
        return *found;
    }
};
