#pragma once

#include "inference/ChatMessage.h"
#include "inference/InferenceEngine.h"

#include <QByteArray>
#include <QDateTime>
#include <QFile>
#include <QList>
#include <QString>
#include <QStringList>

#include <functional>
#include <memory>

/// One model in memory with its inference context: the only code that calls llama.cpp. Blocking;
/// made, used and destroyed on one thread. Failures are InferenceErrors.
///
/// A damaged file can make the library abort. Then the call fails like any other; only an abort
/// while the library computes on several threads costs the model and the calling thread: generate
/// calls lost from whichever thread it is, and never returns.
class LlamaModel
{
public:
    /// The library as it is at hand.
    struct Library
    {
        QString version;
        QStringList backends;   ///< What computes: "CPU", "Metal"; none if nothing does.
        QStringList extensions; ///< What it uses of the processor: "AVX2", "NEON".
    };
    [[nodiscard]] static Library library();

    /// Reads the GGUF file and makes a context. Throws loadFailed or contextFailed.
    explicit LlamaModel(const QString &path);
    ~LlamaModel();
    LlamaModel(const LlamaModel &) = delete;
    LlamaModel &operator=(const LlamaModel &) = delete;

    /// Generates from an empty context. Throws notLoaded, tokenizeFailed, contextFailed,
    /// decodeFailed.
    [[nodiscard]] QString generate(const QList<ChatMessage> &conversation, int maxTokens,
                                   const InferenceEngine::OnToken &onToken,
                                   const std::function<void()> &lost);

    /// Whether the file was written to while it was in use: what is in memory is worth nothing.
    [[nodiscard]] bool isDamaged() const { return m_isDamaged; }

private:
    struct Handles;
    [[nodiscard]] bool hasFileChanged() const;

    QFile m_file; ///< Read by the library; held to be asked whether it is as it was.
    qint64 m_size = 0;
    QDateTime m_changed;
    std::unique_ptr<Handles> m_handles;
    bool m_isDamaged = false;
};
