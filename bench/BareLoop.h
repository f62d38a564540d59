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

/// The least code that generates a reply with the library: the same calls in the same order with
/// the same parameters as the engine, in the caller's thread, with no regard for failures beyond
/// stopping. What the engine is measured against.
class BareLoop
{
public:
    explicit BareLoop(const QString &modelPath);
    ~BareLoop();
    BareLoop(const BareLoop &) = delete;
    BareLoop &operator=(const BareLoop &) = delete;

    /// The conversation as the model reads it.
    [[nodiscard]] std::vector<std::int32_t> prompt(const QList<ChatMessage> &conversation) const;

    /// Calls onToken after each token with the bytes that it stands for.
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
