#pragma once

#include "platform/GlobalHotKey.h"
#include "platform/linux/x11/X11Events.h"

#include <QObject>

#include <set>
#include <utility>

/// The hot key as a grab of the X server's keyboard, whichever modifier Alt is, with the locks in
/// any state, and again whenever the keyboard's layout changes.
class LinuxHotKey final : public QObject, public GlobalHotKey
{
public:
    void registerKey(std::function<void()> pressed) override;

    /// Whether every press of the registered key reaches us.
    [[nodiscard]] bool isOurs() const { return m_isOurs; }

    /// When the hot key was pressed last, by the server's clock; 0 before the first time.
    [[nodiscard]] quint32 lastPress() const { return m_lastPress; }

private:
    using Combination = std::pair<quint8, quint16>; ///< A key code and the modifiers held with it.

    void listenToKeyboard();
    void handle(const xcb_generic_event_t &event);
    void handlePress(quint8 key, quint32 time);
    void grab();
    [[nodiscard]] std::set<Combination> combinations() const;

    std::unique_ptr<X11Events> m_events;
    std::function<void()> m_pressed;
    std::set<Combination> m_grabbed;
    int m_keyboardEvent = -1; ///< The number of the keyboard extension's events.
    bool m_isOurs = false;
    bool m_layoutHasChanged = false;
    quint8 m_heldKey = 0; ///< The code of the key whose press was the last one; 0: it is up again.
    quint32 m_lastPress = 0;
    quint32 m_lastRepeat = 0;
};
