#include "inference/Utf8Assembler.h"

#include "base/Text.h"

std::optional<QString> Utf8Assembler::add(std::string_view bytes)
{
    m_pending.append(bytes.data(), static_cast<qsizetype>(bytes.size()));
    if (!m_pending.isValidUtf8())
        return std::nullopt;
    QString text = Text::fromUtf8(m_pending);
    m_pending.resize(0); // keeps the memory
    return text;
}
