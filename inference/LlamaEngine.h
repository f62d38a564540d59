#pragma once

#include "base/WorkQueue.h"
#include "inference/InferenceEngine.h"

#include <memory>
#include <mutex>

class LlamaModel;

/// The engine that runs GGUF files with llama.cpp. Lives on the main thread and works on one thread
/// of its own, in the order of the calls: an unload waits for an earlier generation. The destructor
/// waits for the running operation; those after it fail with notLoaded.
///
/// Each generation starts from its conversation only. It cannot be cancelled: it ends when the
/// model ends it or after maxTokens.
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

    std::unique_ptr<LlamaModel> m_model; // used by the queue's thread only
    mutable std::mutex m_lock;           // guards m_loaded only
    bool m_loaded = false;
    WorkQueue m_queue; // last: ends before the members that it uses are destroyed
};
