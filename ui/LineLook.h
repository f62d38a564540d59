#pragma once

#include "agent/Transcript.h"

#include <QObject>
#include <QString>
#include <QtQml/qqmlregistration.h>

/// The roles that colours play; the theme knows the colour of each, in light and in dark.
namespace Tone {
Q_NAMESPACE
QML_ELEMENT
enum Value { Primary, Secondary, Red, Green, Orange };
Q_ENUM_NS(Value)
} // namespace Tone

/// How one line of the log is shown.
struct LineLook
{
    QString symbol; ///< Its glyph's name; empty where a spinner stands instead.
    Tone::Value symbolTone = Tone::Secondary;
    Tone::Value textTone = Tone::Secondary;
    QString spoken; ///< What the symbol says to those who do not see it.

    bool operator==(const LineLook &) const = default;

    [[nodiscard]] static LineLook of(const LogEntry &entry);
};
