#pragma once

#include "agent/Transcript.h"

#include <QObject>
#include <QString>
#include <QtQml/qqmlregistration.h>

/// Colour roles; the theme has a light and a dark colour for each.
namespace ColorRole {
Q_NAMESPACE
QML_ELEMENT
enum Value { Primary, Secondary, Red, Green, Orange };
Q_ENUM_NS(Value)
} // namespace ColorRole

/// The style of one line of the log.
struct LogEntryStyle
{
    QString symbol; ///< The name of its glyph; empty if a spinner is shown instead.
    ColorRole::Value symbolColor = ColorRole::Secondary;
    ColorRole::Value textColor = ColorRole::Secondary;
    QString spoken; ///< The accessible text for the symbol.

    bool operator==(const LogEntryStyle &) const = default;

    [[nodiscard]] static LogEntryStyle of(const LogEntry &entry);
};
