#include "inference/ChatMl.h"

QByteArray chatMlPrompt(const QList<ChatMessage> &conversation)
{
    QByteArray prompt;
    for (const ChatMessage &message : conversation) {
        prompt += "<|im_start|>" + rawText(message.role).toUtf8() + '\n' +
                  message.content.toUtf8() + "<|im_end|>\n";
    }
    return prompt + "<|im_start|>assistant\n";
}
