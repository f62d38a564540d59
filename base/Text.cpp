#include "base/Text.h"

#include <QStringDecoder>
#include <QTextBoundaryFinder>

namespace {
bool joins(char32_t character)
{
    // Combining characters that Unicode counts as letters or symbols: the half-width voiced sound
    // marks of kana, and skin tones.
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

// QTextBoundaryFinder treats everything after an Indic letter as Indic and then splits emoji. So it
// gets one script at a time: a change of script starts a new grapheme, unless the first code point
// joins the one before it.
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

QList<qsizetype> Text::graphemeBoundaries(const QString &text, qsizetype most)
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

QString Text::first(const QString &text, qsizetype count)
{
    const QList<qsizetype> ends = graphemeBoundaries(text, count);
    return ends.size() < count ? text : text.first(ends.constLast());
}

QString Text::folded(const QString &text)
{
    return text.normalized(QString::NormalizationForm_C).toLower();
}

QString Text::titleCased(const QString &text)
{
    const QString lowered = text.toLower();
    QString result;
    result.reserve(lowered.size());
    bool atWordStart = true;
    for (qsizetype i = 0; i < lowered.size(); ++i) {
        // A letter outside the Basic Multilingual Plane is a surrogate pair, which has an upper
        // case only as a whole.
        const qsizetype length = lowered[i].isHighSurrogate() && i + 1 < lowered.size() ? 2 : 1;
        const QString letter = lowered.mid(i, length);
        result += atWordStart ? letter.toUpper() : letter;
        i += length - 1;
        atWordStart = letter == u' ' || letter == u'\t' || letter == u'\n' || letter == u'\r';
    }
    return result;
}

QString Text::fromUtf8(QByteArrayView utf8)
{
    QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::ConvertInitialBom);
    return decoder.decode(utf8);
}
