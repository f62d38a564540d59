#pragma once

#include "platform/GlobalHotKey.h"
#include "platform/linux/x11/X11Events.h"

#include <QObject>

#include <set>
#include <utility>

/// The hot key as a passive key grab on the X server, for whichever modifier Alt is and in any
/// state of the locks. Grabs again when the keyboard layout changes.
class LinuxHotKey final : public QObject, public GlobalHotKey
{
public:
    void registerKey(std::function<void()> pressed) override;

    [[nodiscard]] QString name() const override;
    /// Whether every combination with the locks is grabbed.
    [[nodiscard]] bool isOurs() const override { return m_isOurs; }
    [[nodiscard]] QString alternative() override;
    [[nodiscard]] bool isAlternativeBound() override;
    void bindAlternative() override;
    [[nodiscard]] QString command() override;

    /// The server time of the last press; 0 before the first one.
    [[nodiscard]] quint32 lastPress() const { return m_lastPress; }

private:
    using Combination = std::pair<quint8, quint16>; ///< A key code and its modifiers.

    void listenToKeyboard();
    void handle(const xcb_generic_event_t &event);
    void handlePress(quint8 key, quint32 time);
    void grab();
    [[nodiscard]] std::set<Combination> combinations() const;

    std::unique_ptr<X11Events> m_events;
    std::function<void()> m_pressed;
    std::set<Combination> m_grabbed;
    int m_keyboardEvent = -1; ///< The event number of the XKB extension.
    bool m_isOurs = false;
    bool m_layoutHasChanged = false;
    quint8 m_heldKey = 0; ///< The code of the pressed key; 0 after its release.
    quint32 m_lastPress = 0;
    quint32 m_lastRepeat = 0;
};
