#include "ui/PreviewTail.h"

#include "base/Text.h"

namespace {
constexpr qsizetype tailLength = 90;
} // namespace

QString previewTail(const QString &preview)
{
    QString line = preview;
    line.replace(u'\n', u' ');
    if (line.size() <= tailLength)
        return line;
    const QList<qsizetype> ends = Text::graphemeBoundaries(line);
    return ends.size() <= tailLength ? line : line.sliced(ends[ends.size() - tailLength - 1]);
}
