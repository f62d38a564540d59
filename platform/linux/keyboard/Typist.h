#pragma once

#include "platform/linux/keyboard/BorrowedKeys.h"
#include "platform/linux/keyboard/KeyMap.h"
#include "platform/linux/keyboard/Modifier.h"
#include "platform/linux/keyboard/UsersKeys.h"
#include "platform/linux/keyboard/XKeyboard.h"

#include <deque>
#include <map>
#include <optional>
#include <span>

/// Types on the X server for one action, and leaves no trace there once it has finished. Takes the
/// time that applications need to follow. Failures are thrown, with whatever was under way undone
/// as far as the server still answers.
class Typist
{
public:
    Typist() = default;
    ~Typist();
    Typist(const Typist &) = delete;
    Typist &operator=(const Typist &) = delete;

    /// What is going to be typed, so that keys can be borrowed for all of it at once.
    void expect(std::span<const KeySymbol> symbols);

    /// Types the symbols one after the other.
    void type(std::span<const KeySymbol> symbols);

    /// Presses a key with modifiers, a combination of Modifier, and releases it again.
    void press(KeySymbol symbol, uint8_t modifiers);
    void release();

    /// Puts everything back.
    void finish();

private:
    void prepare();
    void read();
    void borrowForExpected();
    void borrow(std::span<const KeySymbol> symbols);
    void letApplicationsFollow();
    void hold(uint8_t modifiers);

    XKeyboard m_keyboard;
    UsersKeys m_usersKeys{m_keyboard};
    BorrowedKeys m_borrowed{m_keyboard};
    std::optional<KeyMap> m_map;
    std::deque<KeySymbol> m_expected;
    std::map<uint8_t, xcb_keycode_t> m_held; ///< The modifiers that we hold, with their keys.
    std::optional<xcb_keycode_t> m_pressed;
    bool m_isFrontDeaf = false;
};
