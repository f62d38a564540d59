#pragma once

#include <QString>

/// The text as it is compared with others: the case does not matter, nor does it whether accents
/// are written apart from their letters, as some file systems and keyboards do.
[[nodiscard]] inline QString folded(const QString &text)
{
    return text.normalized(QString::NormalizationForm_C).toLower();
}
