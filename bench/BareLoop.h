#pragma once

#include "inference/ChatMessage.h"

#include <QList>
#include <QString>

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

struct llama_context;
struct llama_model;

/// The least code that generates a reply with llama.cpp, as the baseline for the engine: the same
/// calls in the same order with the same parameters, on the caller's thread. Any failure ends the
/// program.
class BareLoop
{
public:
    explicit BareLoop(const QString &modelPath);
    ~BareLoop();
    BareLoop(const BareLoop &) = delete;
    BareLoop &operator=(const BareLoop &) = delete;

    /// The tokens of the conversation.
    [[nodiscard]] std::vector<std::int32_t> prompt(const QList<ChatMessage> &conversation) const;

    /// Calls onToken after each token with the token's bytes.
    std::string generate(const QList<ChatMessage> &conversation, int maxTokens,
                         const std::function<void(const std::string &piece)> &onToken);

private:
    struct Freed
    {
        void operator()(llama_model *model) const;
        void operator()(llama_context *context) const;
    };

    std::unique_ptr<llama_model, Freed> m_model;
    std::unique_ptr<llama_context, Freed> m_context;
};
