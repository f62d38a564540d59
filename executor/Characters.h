#pragma once

#include <QList>
#include <QString>

namespace Executor {
/// Where the user-perceived characters of the text end, one after the other: letters with their
/// combining marks, emoji of several code points, CR LF.
[[nodiscard]] QList<qsizetype> characterEnds(const QString &text);
} // namespace Executor
