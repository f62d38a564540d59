#pragma once

#include "platform/Diagnosis.h"

#include <QList>
#include <QString>

/// Looks at everything that a task depends on, and says what to do where something is wrong. Main
/// thread; takes a few seconds where the system is silent. Opens no connection to the network.
namespace Doctor {
struct Line
{
    QString subject; ///< What was looked at: "Display" and so on.
    Finding finding;
};

/// Every subject, always in the same order.
[[nodiscard]] QList<Line> examine();

/// Whether nothing stands in the way of most tasks.
[[nodiscard]] bool isHealthy(const QList<Line> &report);

/// The line as it is printed: mark, subject, state and advice.
[[nodiscard]] QString text(const Line &line);
} // namespace Doctor
