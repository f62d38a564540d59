#pragma once

#include "base/WorkQueue.h"
#include "inference/InferenceEngine.h"

#include <memory>
#include <mutex>

class LlamaModel;

/// The engine that runs GGUF files with llama.cpp. It lives on the main thread and does all its
/// work on one thread of its own, in the order of the calls: an unload behind a generation waits
/// for it. Destroying the engine waits for the running operation, and the ones behind it fail with
/// notLoaded.
///
/// Each generation starts from nothing but its conversation. None is cut short: it ends where the
/// model ends it or at maxTokens.
class LlamaEngine final : public InferenceEngine
{
public:
    LlamaEngine();
    ~LlamaEngine() override;
    LlamaEngine(const LlamaEngine &) = delete;
    LlamaEngine &operator=(const LlamaEngine &) = delete;

    [[nodiscard]] bool isLoaded() const override;
    [[nodiscard]] QCoro::Task<> load(QString modelPath) override;
    void unload() override;
    [[nodiscard]] QCoro::Task<QString> generate(QList<ChatMessage> conversation, int maxTokens,
                                                OnToken onToken) override;

private:
    void release();
    void giveUpModel();
    void setLoaded(bool loaded);

    std::unique_ptr<LlamaModel> m_model; // the queue's thread's
    mutable std::mutex m_lock;           // guards m_loaded only
    bool m_loaded = false;
    WorkQueue m_queue; // last: nothing runs any more when the rest is destroyed
};
