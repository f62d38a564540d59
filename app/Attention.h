#pragma once

#include <QObject>

#include <functional>

class AgentSession;
class ModelManager;
class NativeWindow;
enum class Urgency;

/// Draws the attention of a user who works elsewhere while a task runs to its questions and to its
/// end, and while a model is downloaded to the end of that. Main thread; the session, the manager
/// and the window must outlive it.
class Attention final : public QObject
{
    Q_OBJECT

public:
    /// `show` brings the panel to the front.
    Attention(AgentSession &session, ModelManager &models, NativeWindow &window,
              std::function<void()> show, QObject *parent = nullptr);

    /// The native window was created, for the first time or again.
    void windowWasMade();

private:
    void followTask();
    void followDownload();
    void followQuestion();
    void call(const QString &text, Urgency urgency);
    void withdraw();

    AgentSession &m_session;
    ModelManager &m_models;
    NativeWindow &m_window;
    const std::function<void()> m_show;
    bool m_isDownloading = false; ///< Until the model is loaded.
    bool m_hasNotified = false;
};
