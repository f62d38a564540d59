#pragma once

#include "inference/ChatMessage.h"
#include "inference/InferenceError.h"

#include <QCoro/QCoroTask>
#include <QList>
#include <QString>

#include <functional>

/// Generates text with a language model. The model manager and the agent session share one engine.
/// Asynchronous operations are called and resumed on the main thread. Failures are InferenceErrors.
class InferenceEngine
{
public:
    /// Receives each new piece of text on the engine's own thread: complete characters only,
    /// possibly empty. Must not block or throw.
    using OnToken = std::function<void(const QString &piece)>;

    InferenceEngine() = default;
    virtual ~InferenceEngine() = default;
    InferenceEngine(const InferenceEngine &) = delete;
    InferenceEngine &operator=(const InferenceEngine &) = delete;

    /// Whether a model and its context are in memory and ready. Thread-safe.
    [[nodiscard]] virtual bool isLoaded() const = 0;

    /// Replaces the loaded model, if any, with the GGUF file at the path. Fails with loadFailed or
    /// contextFailed; then no model is loaded.
    [[nodiscard]] virtual QCoro::Task<> load(QString modelPath) = 0;

    /// Releases the model once the operations called before have finished. Returns at once.
    virtual void unload() = 0;

    /// Continues the conversation by at most maxTokens tokens and returns the whole text: the
    /// concatenation of all pieces that onToken received.
    [[nodiscard]] virtual QCoro::Task<QString> generate(QList<ChatMessage> conversation,
                                                        int maxTokens, OnToken onToken) = 0;
};
