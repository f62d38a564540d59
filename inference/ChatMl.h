#pragma once

#include "inference/ChatMessage.h"

#include <QByteArray>
#include <QList>

/// The conversation in the ChatML format, up to the start of the assistant's next message. For
/// models without a chat template, or with one that llama.cpp does not know.
[[nodiscard]] QByteArray chatMlPrompt(const QList<ChatMessage> &conversation);
