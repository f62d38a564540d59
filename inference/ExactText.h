#pragma once

#include <QByteArrayView>
#include <QStringDecoder>

/// The text of valid UTF-8 with all its characters. QString's own conversions drop a byte order
/// mark at the beginning, which is a character like any other in what a model says.
inline QString exactText(QByteArrayView utf8)
{
    QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::ConvertInitialBom);
    return decoder.decode(utf8);
}
