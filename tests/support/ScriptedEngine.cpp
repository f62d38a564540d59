#include "tests/support/ScriptedEngine.h"

#include "base/MainThread.h"

#include <thread>
#include <utility>

void ScriptedEngine::Gate::release()
{
    if (m_waiting.empty()) {
        ++m_permits;
        return;
    }
    const std::coroutine_handle<> waiting = m_waiting.front();
    m_waiting.pop_front();
    MainThread::post([waiting] { waiting.resume(); });
}

void ScriptedEngine::Gate::enter(std::coroutine_handle<> waiting)
{
    m_waiting.push_back(waiting);
    if (!m_held) {
        release();
    } else if (m_permits > 0) {
        --m_permits;
        release();
    }
}

void ScriptedEngine::sendPiece(const QString &piece) const
{
    std::thread([this, &piece] { m_onToken(piece); }).join();
}

QCoro::Task<> ScriptedEngine::load(QString modelPath)
{
    m_loaded = false;
    m_loads += modelPath;
    co_await m_loadGate.pass();
    if (m_loadError)
        throw InferenceError(*m_loadError);
    m_loaded = true;
}

void ScriptedEngine::unload()
{
    ++m_unloads;
    if (!m_holdsUnloads)
        m_loaded = false;
}

QCoro::Task<QString> ScriptedEngine::generate(QList<ChatMessage> conversation, int maxTokens,
                                              OnToken onToken)
{
    m_generations += Generation{std::move(conversation), maxTokens};
    m_onToken = std::move(onToken);
    ++m_generationsRunning;
    co_await m_generationGate.pass();

    Reply reply = InferenceError(InferenceError::decodeFailed);
    if (!m_loaded)
        reply = InferenceError(InferenceError::notLoaded);
    else if (!m_replies.isEmpty())
        reply = m_replies.takeFirst();
    const QString *const text = std::get_if<QString>(&reply);
    for (qsizetype at = 0; text && at < text->size();) {
        qsizetype length = std::min(m_pieceLength, text->size() - at);
        if (text->at(at + length - 1).isHighSurrogate() && at + length < text->size())
            ++length;
        sendPiece(text->mid(at, length));
        at += length;
    }
    // The pieces reach the main thread before the reply does.
    co_await m_turnOfTheLoop.pass();
    --m_generationsRunning;
    if (!text)
        throw InferenceError(std::get<InferenceError>(reply));
    co_return QString(*text);
}
