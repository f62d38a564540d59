#pragma once

#include "platform/linux/keyboard/KeyMap.h"
#include "platform/linux/keyboard/Loans.h"
#include "platform/linux/keyboard/Modifier.h"
#include "platform/linux/keyboard/XKeyboard.h"

#include <csignal>
#include <deque>
#include <map>
#include <optional>
#include <span>
#include <vector>

/// Types on the X server for one action and one process, and restores the keyboard when it has
/// finished. Waits for applications to process their input. Failures are thrown after restoring as
/// much as the server allows.
class Typist
{
public:
    /// Types nothing more once the flag is set.
    Typist(uint32_t receiver, const volatile std::sig_atomic_t &isGivenUp)
        : m_isGivenUp(isGivenUp), m_receiver(receiver)
    {
        m_record.recover();
        m_record.begin();
    }
    ~Typist();
    Typist(const Typist &) = delete;
    Typist &operator=(const Typist &) = delete;

    /// Announces the symbols to type, so that spare keys are mapped for all of them at once.
    void expect(std::span<const KeySymbol> symbols);

    /// Types the symbols one after the other, as long as the receiver has the focus.
    void type(std::span<const KeySymbol> symbols);

    /// Presses a key with modifiers, a combination of Modifier, if the receiver has the focus;
    /// release() releases it.
    void press(KeySymbol symbol, uint8_t modifiers);
    void release();

    /// Restores everything.
    void finish();

private:
    void prepare();
    void deliver(std::vector<Stroke> &strokes);
    void checkIsWanted(const char *complaint) const;
    void read();
    void borrowForExpected();
    void borrow(std::span<const KeySymbol> symbols);
    void letApplicationsFollow();
    void hold(uint8_t modifiers);

    const volatile std::sig_atomic_t &m_isGivenUp;
    const uint32_t m_receiver;
    XKeyboard m_keyboard;
    LoanRecord m_record{m_keyboard};
    HeldModifiers m_heldModifiers{m_keyboard, m_record};
    TemporaryKeyMapping m_mapping{m_keyboard, m_record};
    std::optional<KeyMap> m_map;
    std::deque<KeySymbol> m_expected;
    std::map<uint8_t, xcb_keycode_t> m_held; ///< The modifiers that we hold and their keys.
    std::optional<xcb_keycode_t> m_pressed;
    bool m_isFrontDeaf = false;
};
