#pragma once

#include <QByteArray>
#include <QString>

#include <optional>
#include <string_view>

/// Decodes the bytes of consecutive tokens: a character may be split over several tokens.
class Utf8Assembler
{
public:
    /// The text of all pending bytes, which may be empty. Nothing if they are not valid UTF-8; they
    /// then stay pending.
    [[nodiscard]] std::optional<QString> add(std::string_view bytes);

private:
    QByteArray m_pending;
};
