#pragma once

#include "inference/ChatMessage.h"
#include "inference/InferenceError.h"

#include <QCoro/QCoroTask>
#include <QList>
#include <QString>

#include <functional>

/// Generates text with a language model. Shared between the model manager and the agent session;
/// its asynchronous operations are called and resumed on the main thread. Each failure is an
/// InferenceError.
class InferenceEngine
{
public:
    /// Receives each newly completed piece of text, on the engine's own thread: whole characters
    /// only, possibly empty. It must not block and must not throw.
    using OnToken = std::function<void(const QString &piece)>;

    InferenceEngine() = default;
    virtual ~InferenceEngine() = default;
    InferenceEngine(const InferenceEngine &) = delete;
    InferenceEngine &operator=(const InferenceEngine &) = delete;

    /// True while a model and its context are in memory and ready. From any thread.
    [[nodiscard]] virtual bool isLoaded() const = 0;

    /// Replaces whatever was loaded with the GGUF file at the path. Fails with loadFailed or
    /// contextFailed, and then nothing is loaded.
    [[nodiscard]] virtual QCoro::Task<> load(QString modelPath) = 0;

    /// Schedules the release of the model behind whatever runs, and returns at once.
    virtual void unload() = 0;

    /// Continues the conversation by at most maxTokens tokens and returns the whole text, which is
    /// the concatenation of all pieces that onToken received.
    [[nodiscard]] virtual QCoro::Task<QString> generate(QList<ChatMessage> conversation,
                                                        int maxTokens, OnToken onToken) = 0;
};
