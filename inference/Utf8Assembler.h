#pragma once

#include <QByteArray>
#include <QString>

#include <optional>
#include <string_view>

/// Makes text of a token's bytes after the other: a character may be split over several tokens.
class Utf8Assembler
{
public:
    /// The text of all pending bytes, which may be empty; nothing while they are no valid UTF-8,
    /// and then they stay pending.
    [[nodiscard]] std::optional<QString> add(std::string_view bytes);

private:
    QByteArray m_pending;
};
