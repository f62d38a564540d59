#pragma once

#include <QString>

/// The end of the model's reply as one line: line feeds become spaces, and the last 90 graphemes
/// are kept.
[[nodiscard]] QString previewTail(const QString &preview);
