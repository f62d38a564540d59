#pragma once

#include <QList>
#include <QString>

#include <limits>

namespace Executor {
/// Where the user-perceived characters of the text end, one after the other and at most so many of
/// them: letters with their combining marks, emoji of several code points, CR LF.
[[nodiscard]] QList<qsizetype>
graphemeBoundaries(const QString &text, qsizetype most = std::numeric_limits<qsizetype>::max());
} // namespace Executor
