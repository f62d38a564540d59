#include "base/ShownText.h"

#include <QList>

#include <algorithm>
#include <array>
#include <utility>

using namespace Qt::StringLiterals;

namespace {
// Enough for indented lines and for space between paragraphs.
constexpr qsizetype mostBlanks = 12;
constexpr qsizetype mostLineEnds = 3;
// No language puts more combining marks on one letter; further ones cover the lines above and
// below.
constexpr int mostMarks = 4;

constexpr QChar lineEndSign(u'⏎');
constexpr QChar tabSign(u'⇥');
constexpr QChar blankSign(u'␣');

constexpr char32_t nonJoiner = 0x200c;
constexpr char32_t joiner = 0x200d;
constexpr char32_t emojiSelector = 0xfe0f;

// Unicode's Default_Ignorable_Code_Point, and further characters without a glyph: Hangul fillers,
// the empty Braille cell, the object replacement character.
constexpr auto unseen = std::to_array<std::pair<char32_t, char32_t>>({
    {0x00ad, 0x00ad},   {0x034f, 0x034f},   {0x061c, 0x061c},   {0x115f, 0x1160},
    {0x17b4, 0x17b5},   {0x180b, 0x180f},   {0x200b, 0x200f},   {0x202a, 0x202e},
    {0x2060, 0x206f},   {0x2800, 0x2800},   {0x3164, 0x3164},   {0xfe00, 0xfe0f},
    {0xfeff, 0xfeff},   {0xffa0, 0xffa0},   {0xfff0, 0xfffc},   {0x13430, 0x1345f},
    {0x16fe4, 0x16fe4}, {0x1bca0, 0x1bca3}, {0x1d159, 0x1d159}, {0x1d173, 0x1d17a},
    {0xe0000, 0xe0fff},
});

bool isUnseen(char32_t character)
{
    return std::ranges::any_of(unseen, [character](const auto &range) {
        return character >= range.first && character <= range.second;
    });
}

bool isMark(char32_t character)
{
    const QChar::Category category = QChar::category(character);
    return category == QChar::Mark_NonSpacing || category == QChar::Mark_Enclosing;
}

bool isEmoji(char32_t character)
{
    // Pictographs, flags and skin tones.
    return character == emojiSelector || QChar::category(character) == QChar::Symbol_Other ||
           (character >= 0x1f3fb && character <= 0x1f3ff);
}

// Whether the character belongs to a script in which joiners change the shape of letters.
bool isJoining(char32_t character)
{
    switch (QChar::script(character)) {
    case QChar::Script_Common:
    case QChar::Script_Inherited:
    case QChar::Script_Unknown:
    case QChar::Script_Latin:
    case QChar::Script_Greek:
    case QChar::Script_Cyrillic:
    case QChar::Script_Han:
    case QChar::Script_Hangul:
    case QChar::Script_Hiragana:
    case QChar::Script_Katakana:
        return QChar::script(character) == QChar::Script_Inherited && isMark(character) &&
               character != emojiSelector;
    default:
        return QChar::isLetter(character) || isMark(character);
    }
}

bool isNeeded(char32_t previous, char32_t character, char32_t next)
{
    switch (character) {
    case joiner:
        return (isEmoji(previous) && isEmoji(next)) || (isJoining(previous) && isJoining(next));
    case nonJoiner:
        return isJoining(previous) && isJoining(next);
    case emojiSelector:
        // Also in keycaps: a digit, the selector and the combining keycap.
        return previous != emojiSelector && (isEmoji(previous) || next == 0x20e3);
    default:
        return false;
    }
}

bool isBlank(QChar character)
{
    return character == tabSign || character == u'\u00a0' ||
           (character.category() == QChar::Separator_Space);
}

bool isLineEnd(QChar character)
{
    return character == u'\n' || character == lineEndSign;
}

QString counted(QChar sign, qsizetype count)
{
    return count == 0 ? QString() : sign + u"×"_s + QString::number(count);
}

QString blanks(QStringView run)
{
    return run.size() > mostBlanks ? counted(blankSign, run.size()) : run.toString();
}

// A run of white space that contains line ends.
QString breaks(QStringView run, ShownText::LineEnds lineEnds)
{
    const auto isLast = [](QChar character) { return isLineEnd(character); };
    const auto fromEnd = std::find_if(run.rbegin(), run.rend(), isLast);
    const QStringView head = run.first(run.rend() - fromEnd);
    const QStringView indent = run.sliced(head.size());
    const qsizetype ends = std::ranges::count_if(head, isLast);
    const bool isKept = lineEnds == ShownText::LineEnds::kept;
    if (ends <= mostLineEnds && head.size() - ends <= mostBlanks) {
        QString all = head.toString();
        return (isKept ? all : all.replace(u'\n', lineEndSign)) + blanks(indent);
    }
    const QString sum = counted(lineEndSign, ends) + counted(blankSign, head.size() - ends);
    return (isKept ? u'\n' + sum + u'\n' : sum) + blanks(indent);
}
} // namespace

QString ShownText::plain(const QString &text)
{
    // Replaces unpaired surrogates with the replacement character.
    const QList<uint> characters = text.toUcs4();
    QString shown;
    shown.reserve(text.size());
    int marks = 0;
    for (qsizetype i = 0; i < characters.size(); ++i) {
        const char32_t character = characters[i];
        const char32_t previous = i > 0 ? characters[i - 1] : 0;
        const char32_t next = characters.value(i + 1);
        marks = isMark(character) ? marks + 1 : 0;
        if (character == '\n')
            shown += u'\n';
        else if (character == '\t')
            shown += tabSign;
        else if (character == QChar::LineSeparator || character == QChar::ParagraphSeparator)
            shown += lineEndSign;
        else if (QChar::category(character) == QChar::Other_Control ||
                 QChar::category(character) == QChar::Other_Surrogate ||
                 QChar::isNonCharacter(character) || marks > mostMarks ||
                 (isUnseen(character) && !isNeeded(previous, character, next)))
            shown += QChar(QChar::ReplacementCharacter);
        else
            shown += QChar::fromUcs4(character);
    }
    return shown;
}

QString ShownText::question(const QString &text, LineEnds lineEnds)
{
    QString ends = text;
    ends.replace(u"\r\n"_s, u"\n"_s);
    for (const char16_t lineEnd : {u'\r', u'\v', u'\f', u'\u0085', u'\u2028', u'\u2029'})
        ends.replace(QChar(lineEnd), u'\n');
    const QString all = plain(ends);

    QString shown;
    for (qsizetype i = 0; i < all.size();) {
        qsizetype end = i;
        while (end < all.size() && (isBlank(all[end]) || isLineEnd(all[end])))
            ++end;
        if (end == i) {
            shown += all[i++];
            continue;
        }
        const QStringView run = QStringView(all).sliced(i, end - i);
        shown += std::ranges::any_of(run, isLineEnd) ? breaks(run, lineEnds) : blanks(run);
        i = end;
    }
    return shown;
}
