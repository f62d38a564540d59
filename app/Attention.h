#pragma once

#include <QObject>

#include <functional>

class AgentSession;
class NativeWindow;

/// Sees to it that the user, who works elsewhere while a task runs, misses neither its questions
/// nor its end. Main thread; the session and the window must outlive it.
class Attention final : public QObject
{
    Q_OBJECT

public:
    /// `show` brings the panel forward, wherever it is.
    Attention(AgentSession &session, NativeWindow &window, std::function<void()> show,
              QObject *parent = nullptr);

    /// The system has just made the window, perhaps anew.
    void windowWasMade();

private:
    void followTask();
    void followQuestion();
    void call(const QString &text, bool isQuestion);
    void withdraw();

    AgentSession &m_session;
    NativeWindow &m_window;
    const std::function<void()> m_show;
    bool m_hasNotified = false;
};
