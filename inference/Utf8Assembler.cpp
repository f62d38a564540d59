#include "inference/Utf8Assembler.h"

#include "inference/ExactText.h"

std::optional<QString> Utf8Assembler::add(std::string_view bytes)
{
    m_pending.append(bytes.data(), static_cast<qsizetype>(bytes.size()));
    if (!m_pending.isValidUtf8())
        return std::nullopt;
    QString text = exactText(m_pending);
    m_pending.resize(0); // keeps the memory
    return text;
}
