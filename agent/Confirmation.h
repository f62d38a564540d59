#pragma once

#include "base/MainThread.h"

#include <coroutine>
#include <memory>
#include <optional>

/// A question that suspends a coroutine until it is answered, exactly once; copies share one
/// question. The coroutine is resumed from the event loop, never inside resume(). Main thread.
class Confirmation
{
public:
    /// Answers after the first are ignored.
    void resume(bool answer)
    {
        if (m_state->answer)
            return;
        m_state->answer = answer;
        if (m_state->waiting)
            MainThread::post([state = m_state] { state->waiting.resume(); });
    }

    [[nodiscard]] bool await_ready() const { return m_state->answer.has_value(); }
    void await_suspend(std::coroutine_handle<> waiting) { m_state->waiting = waiting; }
    [[nodiscard]] bool await_resume() const { return m_state->answer.value_or(false); }

private:
    struct State
    {
        std::coroutine_handle<> waiting;
        std::optional<bool> answer;
    };

    std::shared_ptr<State> m_state = std::make_shared<State>();
};
