#pragma once

#include <QString>

/// The end of the model's reply as one line: line feeds become spaces, and what a reader takes for
/// the last 90 characters (a flag, a letter with its accents are one) is left.
[[nodiscard]] QString previewTail(const QString &preview);
