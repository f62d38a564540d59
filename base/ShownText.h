#pragma once

#include <QString>

/// Text that others wrote, such as a model, a file or another application, as the user may be shown
/// it: it looks like what it is. Pure functions, for any thread.
namespace ShownText {
enum class LineEnds {
    kept,  ///< They end lines.
    shown, ///< They are characters on one line.
};

/// The text with replacement characters for all that is obeyed or unseen instead of drawn: control
/// characters but for line feeds, changes of the writing direction, characters without a shape,
/// and more marks on a letter than any language has. Tabs and the separators of lines and
/// paragraphs have signs of their own. Joiners within emoji and within scripts that need them stay.
[[nodiscard]] QString plain(const QString &text);

/// The plain text for a question to the user: in addition, long blanks and many empty lines, which
/// would push the rest of the text out of sight, are counted instead of drawn.
[[nodiscard]] QString question(const QString &text, LineEnds lineEnds);
} // namespace ShownText
