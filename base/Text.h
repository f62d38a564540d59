#pragma once

#include <QByteArrayView>
#include <QList>
#include <QString>

#include <limits>

/// Text as people perceive and compare it. Pure functions, for any thread.
namespace Text {
/// The end positions of the text's graphemes, in order and at most so many: letters with their
/// combining marks, emoji of several code points, CR LF.
[[nodiscard]] QList<qsizetype>
graphemeBoundaries(const QString &text, qsizetype most = std::numeric_limits<qsizetype>::max());

/// The first graphemes of the text, at most so many, which is one or more.
[[nodiscard]] QString first(const QString &text, qsizetype count);

/// The text for comparisons that ignore case, and that ignore whether accents are separate code
/// points, as some file systems and keyboards write them.
[[nodiscard]] QString folded(const QString &text);

/// The text with the first letter of each word in upper case and the rest in lower case. Spaces,
/// tabs and line ends separate words.
[[nodiscard]] QString titleCased(const QString &text);

/// The text of valid UTF-8 with all its characters. QString's own conversions drop a byte order
/// mark at the beginning, which is a character like any other in a model's reply.
[[nodiscard]] QString fromUtf8(QByteArrayView utf8);
} // namespace Text
