#pragma once

#include "inference/ChatMessage.h"

#include <QByteArray>
#include <QList>

/// The conversation in the ChatML format, up to where the assistant's next message begins: for
/// models that bring no chat template of their own, or one that the library does not know.
[[nodiscard]] QByteArray chatMlPrompt(const QList<ChatMessage> &conversation);
