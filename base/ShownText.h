#pragma once

#include <QString>

/// Makes text from a model, a file or another application safe to show: nothing in it can hide or
/// reorder what the user reads. Pure functions, for any thread.
namespace ShownText {
enum class LineEnds {
    kept,  ///< Line ends start a new line.
    shown, ///< Line ends become visible signs on one line.
};

/// The text with a replacement character for everything that is interpreted or invisible instead of
/// drawn: control characters other than line feeds, direction overrides, characters without a
/// glyph, and more combining marks on a letter than any language has. Tabs and line and paragraph
/// separators become visible signs. Joiners within emoji and within scripts that need them are
/// kept.
[[nodiscard]] QString plain(const QString &text);

/// The plain text for a question to the user. In addition, long runs of spaces and of empty lines,
/// which would push the rest of the text out of sight, are replaced with their number.
[[nodiscard]] QString question(const QString &text, LineEnds lineEnds);
} // namespace ShownText
