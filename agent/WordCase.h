#pragma once

#include <QString>

/// The text with the first letter of each word in upper case and the rest in lower case. Words are
/// parted by spaces, tabs and line ends.
[[nodiscard]] QString capitalizedWords(const QString &text);
