#pragma once

#include <QObject>
#include <QString>

#include <functional>

/// The one notification of ours that the desktop shows, over org.freedesktop.Notifications. On a
/// desktop without notifications nothing is shown. Main thread; never waits for the desktop.
class DesktopNotice final : public QObject
{
    Q_OBJECT

public:
    enum class Duration {
        usual, ///< The desktop decides.
        untilWithdrawn,
    };

    /// Shows the text in place of the last one, and calls this if the user chooses it.
    void show(const QString &text, Duration duration, std::function<void()> chosen);
    void withdraw();

private Q_SLOTS:
    void takeAction(uint id, const QString &action);
    void takeEnd(uint id);

private:
    void listen();
    void close(uint id);

    std::function<void()> m_chosen;
    uint m_id = 0;     ///< The desktop's number for it; 0: none is shown, or not known yet.
    int m_request = 0; ///< Grows with each text; what is on its way for an earlier one is closed.
    bool m_listens = false;
};
