#pragma once

#include <QObject>
#include <QString>

#include <functional>

/// Our single desktop notification, by org.freedesktop.Notifications. Does nothing on a desktop
/// without notifications. Main thread; does not block.
class DesktopNotice final : public QObject
{
    Q_OBJECT

public:
    enum class Duration {
        usual, ///< As the desktop decides.
        untilWithdrawn,
    };

    /// Shows the text instead of the last one, and calls `chosen` if the user activates it.
    void show(const QString &text, Duration duration, std::function<void()> chosen);
    void withdraw();

private Q_SLOTS:
    void takeAction(uint id, const QString &action);
    void takeEnd(uint id);

private:
    void listen();
    void close(uint id);

    std::function<void()> m_chosen;
    uint m_id = 0; ///< The desktop's id; 0 if none is shown or the id is unknown yet.
    int m_request =
        0; ///< Incremented with each text, to close an earlier one whose id arrives late.
    bool m_listens = false;
};
