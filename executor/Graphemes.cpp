#include "executor/Graphemes.h"

#include <QTextBoundaryFinder>

namespace {
bool joins(char32_t character)
{
    // Marks that count as letters or symbols: the voiced ones of half-width kana, and skin tones.
    if (character == 0xff9e || character == 0xff9f ||
        (character >= 0x1f3fb && character <= 0x1f3ff))
        return true;
    switch (QChar::category(character)) {
    case QChar::Mark_NonSpacing:
    case QChar::Mark_SpacingCombining:
    case QChar::Mark_Enclosing:
    case QChar::Other_Format:
        return true;
    default:
        return false;
    }
}

char32_t codePointAt(const QString &text, qsizetype index)
{
    const QChar unit = text[index];
    const bool isPair =
        unit.isHighSurrogate() && index + 1 < text.size() && text[index + 1].isLowSurrogate();
    return isPair ? QChar::surrogateToUcs4(unit, text[index + 1]) : char32_t{unit.unicode()};
}

// Qt treats whatever follows an Indic letter as Indic, and then cuts emoji into their halves. So it
// gets the scripts one by one: a new one begins a new character, unless its first code point joins
// what stands before it.
qsizetype endOfScript(const QString &text, qsizetype start)
{
    const QChar::Script script = QChar::script(codePointAt(text, start));
    char32_t previous = 0;
    for (qsizetype i = start; i < text.size(); i += QChar::requiresSurrogates(previous) ? 2 : 1) {
        const char32_t next = codePointAt(text, i);
        if (i > start && QChar::script(next) != script && !joins(next) &&
            QChar::category(previous) != QChar::Other_Format)
            return i;
        previous = next;
    }
    return text.size();
}
} // namespace

QList<qsizetype> Executor::graphemeBoundaries(const QString &text, qsizetype most)
{
    QList<qsizetype> ends;
    for (qsizetype start = 0; start < text.size() && ends.size() < most;) {
        const qsizetype end = endOfScript(text, start);
        const QString part = text.sliced(start, end - start);
        QTextBoundaryFinder characters(QTextBoundaryFinder::Grapheme, part);
        while (ends.size() < most && characters.toNextBoundary() > 0) {
            const qsizetype position = characters.position();
            const bool isInPair = position < part.size() && part[position].isLowSurrogate() &&
                                  part[position - 1].isHighSurrogate();
            if (!isInPair)
                ends.append(start + position);
        }
        start = end;
    }
    return ends;
}
