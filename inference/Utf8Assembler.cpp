#include "inference/Utf8Assembler.h"

#include <QStringDecoder>

std::optional<QString> Utf8Assembler::add(std::string_view bytes)
{
    m_pending.append(bytes.data(), static_cast<qsizetype>(bytes.size()));
    if (!m_pending.isValidUtf8())
        return std::nullopt;
    // A byte order mark is a character like any other here; QString::fromUtf8 would drop it.
    QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::ConvertInitialBom);
    QString text = decoder.decode(m_pending);
    m_pending.resize(0); // keeps the memory
    return text;
}
