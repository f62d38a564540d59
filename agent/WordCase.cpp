#include "agent/WordCase.h"

QString capitalizedWords(const QString &text)
{
    const QString lowered = text.toLower();
    QString result;
    result.reserve(lowered.size());
    bool atWordStart = true;
    for (qsizetype i = 0; i < lowered.size(); ++i) {
        // A letter outside the basic plane is two units, and has an upper case only as a whole.
        const qsizetype length = lowered[i].isHighSurrogate() && i + 1 < lowered.size() ? 2 : 1;
        const QString letter = lowered.mid(i, length);
        result += atWordStart ? letter.toUpper() : letter;
        i += length - 1;
        atWordStart = letter == u' ' || letter == u'\t' || letter == u'\n' || letter == u'\r';
    }
    return result;
}
