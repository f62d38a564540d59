#pragma once

#include "agent/Transcript.h"

#include <QObject>
#include <QString>
#include <QtQml/qqmlregistration.h>

/// The roles that colours play; the theme knows the colour of each, in light and in dark.
namespace ColorRole {
Q_NAMESPACE
QML_ELEMENT
enum Value { Primary, Secondary, Red, Green, Orange };
Q_ENUM_NS(Value)
} // namespace ColorRole

/// How one line of the log is shown.
struct LogEntryStyle
{
    QString symbol; ///< Its glyph's name; empty where a spinner stands instead.
    ColorRole::Value symbolTone = ColorRole::Secondary;
    ColorRole::Value textTone = ColorRole::Secondary;
    QString spoken; ///< What the symbol says to those who do not see it.

    bool operator==(const LogEntryStyle &) const = default;

    [[nodiscard]] static LogEntryStyle of(const LogEntry &entry);
};
