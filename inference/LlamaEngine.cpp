#include "inference/LlamaEngine.h"

#include "inference/LlamaModel.h"
#include "inference/QueuedCall.h"

#include <utility>

LlamaEngine::LlamaEngine() : m_queue("llama.engine") {}

LlamaEngine::~LlamaEngine()
{
    m_queue.close([this] { release(); });
}

bool LlamaEngine::isLoaded() const
{
    const std::scoped_lock guard(m_lock);
    return m_loaded;
}

QCoro::Task<> LlamaEngine::load(QString modelPath)
{
    std::function<std::monostate()> work = [this, modelPath] {
        release(); // first: two models may not fit into memory
        m_model = std::make_unique<LlamaModel>(modelPath);
        setLoaded(true);
        return std::monostate();
    };
    QueuedCall<std::monostate> call(m_queue, std::move(work), InferenceError::loadFailed);
    co_await call;
}

void LlamaEngine::unload()
{
    m_queue.add({[this] { release(); }});
}

QCoro::Task<QString> LlamaEngine::generate(QList<ChatMessage> conversation, int maxTokens,
                                           OnToken onToken)
{
    std::function<QString()> work = [this, conversation, maxTokens, onToken] {
        if (!m_model)
            throw InferenceError(InferenceError::notLoaded);
        try {
            return m_model->generate(conversation, maxTokens, onToken, [this] { giveUpModel(); });
        } catch (const InferenceError &) {
            // The next generation must fail with notLoaded, so that the new file is loaded.
            if (m_model->isDamaged())
                release();
            throw;
        }
    };
    QueuedCall<QString> call(m_queue, std::move(work), InferenceError::decodeFailed);
    co_return co_await call;
}

void LlamaEngine::release()
{
    setLoaded(false); // first: freeing takes a while, and the model cannot be used meanwhile
    m_model.reset();
}

// The thread that uses the model will never return from it, so the model must not be touched again,
// not even to free it. Called on the thread on which the library aborted.
void LlamaEngine::giveUpModel()
{
    [[maybe_unused]] const LlamaModel *lost = m_model.release();
    setLoaded(false);
    m_queue.abandonRunningJob();
}

void LlamaEngine::setLoaded(bool loaded)
{
    const std::scoped_lock guard(m_lock);
    m_loaded = loaded;
}
