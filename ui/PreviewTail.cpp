#include "ui/PreviewTail.h"

#include <QTextBoundaryFinder>

namespace {
constexpr int tailLength = 90;
} // namespace

QString previewTail(const QString &preview)
{
    QString line = preview;
    line.replace(u'\n', u' ');
    if (line.size() <= tailLength)
        return line;
    QTextBoundaryFinder characters(QTextBoundaryFinder::Grapheme, line);
    characters.toEnd();
    for (int count = 0; count < tailLength; ++count) {
        if (characters.toPreviousBoundary() <= 0)
            return line;
    }
    return line.sliced(characters.position());
}
