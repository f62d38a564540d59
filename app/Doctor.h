#pragma once

#include "platform/Diagnosis.h"

#include <QList>
#include <QString>

/// Checks everything that a task depends on, with advice if something is wrong. Main thread; may
/// block for a few seconds if the system does not answer. Does not use the network.
namespace Doctor {
struct Line
{
    QString subject; ///< What was checked: "Display" and so on.
    Finding finding;
};

/// Checks all subjects; their order is fixed.
[[nodiscard]] QList<Line> examine();

/// Whether most tasks work: no verdict is bad.
[[nodiscard]] bool isHealthy(const QList<Line> &report);

/// The line in words: mark, subject, state and advice.
[[nodiscard]] QString text(const Line &line);
} // namespace Doctor
