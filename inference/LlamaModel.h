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
/// created, used and destroyed on one thread. Failures are InferenceErrors.
///
/// A damaged file can make the library abort. The call then fails like any other, unless the
/// library was computing on several threads: then the model and the calling thread are lost, and
/// generate() calls lost from the aborting thread and never returns.
class LlamaModel
{
public:
    /// What the library uses on this machine.
    struct Library
    {
        QString version;
        QStringList backends;   ///< The loaded ones: "CPU", "Metal"; empty if there are none.
        QStringList extensions; ///< The processor's extensions in use: "AVX2", "NEON".
    };
    [[nodiscard]] static Library library();

    /// Reads the GGUF file and creates a context. Throws loadFailed or contextFailed.
    explicit LlamaModel(const QString &path);
    ~LlamaModel();
    LlamaModel(const LlamaModel &) = delete;
    LlamaModel &operator=(const LlamaModel &) = delete;

    /// Generates from an empty context. Throws notLoaded, tokenizeFailed, contextFailed,
    /// decodeFailed.
    [[nodiscard]] QString generate(const QList<ChatMessage> &conversation, int maxTokens,
                                   const InferenceEngine::OnToken &onToken,
                                   const std::function<void()> &lost);

    /// Whether the file was changed while it was in use, which makes the model unusable.
    [[nodiscard]] bool isDamaged() const { return m_isDamaged; }

private:
    struct Handles;
    [[nodiscard]] bool hasFileChanged() const;

    QFile m_file; ///< The library's file, open to detect changes to it.
    qint64 m_size = 0;
    QDateTime m_changed;
    std::unique_ptr<Handles> m_handles;
    bool m_isDamaged = false;
};
