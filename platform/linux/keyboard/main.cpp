// Types on the X server for one action of the program that started it. It is a separate program so
// that keys and keyboard map are restored however that program ends, and so that a server that
// hangs blocks only this program. Its argument is the process to type into: no other one receives a
// key. With the argument "recover", it only restores what a killed instance has left.
//
// One request per line, with hexadecimal numbers:
//   expect SYMBOL…            what is going to be typed
//   type SYMBOL…
//   press SYMBOL MODIFIER…    the modifiers are shift, control and alt
//   release
// The answer to each is an empty line, or a sentence that describes a failure, after which the
// program exits. It also exits at the end of the input, and on SIGTERM, after which it types
// nothing more.

#include "platform/linux/keyboard/KeyChanges.h"
#include "platform/linux/keyboard/KeyMap.h"
#include "platform/linux/keyboard/XKeyboard.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <deque>
#include <iostream>
#include <map>
#include <optional>
#include <ranges>
#include <span>
#include <sstream>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

namespace {
// The time that other programs need to read a changed map before keys use it, and to process the
// last key before it changes again; and the time for an application that does not answer pings.
constexpr std::chrono::milliseconds mapSettle{40};
constexpr std::chrono::milliseconds silentSettle{150};

// The map is read again after a new layout, and when another keyboard becomes active because we
// released its keys.
constexpr int maxReadings = 5;

// The modifiers of a key press, as bits.
enum class Modifier : uint8_t { shift = 1, control = 2, alt = 4 };

using NamedModifier = std::pair<std::string_view, Modifier>;
constexpr std::array<NamedModifier, 3> modifierNames{
    {{"shift", Modifier::shift}, {"control", Modifier::control}, {"alt", Modifier::alt}}};

// Without it, the key would do something else.
[[noreturn]] void failWithoutModifier()
{
    throw Failure("The keyboard layout lacks one of the modifier keys.");
}

// Set when the requester has given up: nothing more is typed.
volatile std::sig_atomic_t s_isGivenUp = 0;

void giveUp(int)
{
    s_isGivenUp = 1;
}

// Types on the X server for one action and one process, and restores the keyboard when it has
// finished. Waits for applications to process their input. Failures are thrown after restoring as
// much as the server allows.
class Typist
{
public:
    explicit Typist(uint32_t receiver) : m_receiver(receiver)
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
    void checkIsWanted(const char *message) const;
    void read();
    void mapExpected();
    void mapTemporarily(std::span<const KeySymbol> symbols);
    void letApplicationsFollow();
    void hold(uint8_t modifiers);

    const uint32_t m_receiver;
    XKeyboard m_keyboard;
    ChangeRecord m_record{m_keyboard};
    HeldModifiers m_heldModifiers{m_keyboard, m_record};
    TemporaryKeyMapping m_mapping{m_keyboard, m_record};
    std::optional<KeyMap> m_map;
    std::deque<KeySymbol> m_expected;
    std::map<uint8_t, xcb_keycode_t> m_held; ///< The modifiers that we hold and their keys.
    std::optional<xcb_keycode_t> m_pressed;
    bool m_frontHasTimedOut = false;
};

Typist::~Typist()
{
    try {
        finish();
    } catch (const Failure &) { // NOLINT(bugprone-empty-catch)
        // Nothing can be done about it any more.
    }
}

void Typist::expect(std::span<const KeySymbol> symbols)
{
    prepare();
    m_expected.assign(symbols.begin(), symbols.end());
    for (const KeySymbol symbol : symbols) {
        if (!m_map->find(symbol)) {
            mapExpected();
            break;
        }
    }
}

void Typist::type(std::span<const KeySymbol> symbols)
{
    prepare();
    if (!std::ranges::equal(symbols, m_expected | std::views::take(std::ssize(symbols))))
        m_expected.assign(symbols.begin(), symbols.end());
    std::vector<Stroke> strokes;
    for (const KeySymbol symbol : symbols) {
        if (!m_map->find(symbol)) {
            deliver(strokes);
            mapExpected();
        }
        const std::optional<Stroke> stroke = m_map->find(symbol);
        if (!stroke)
            throw Failure("The keyboard layout has no room for one of the characters.");
        strokes.push_back(*stroke);
        m_expected.pop_front();
    }
    deliver(strokes);
}

// Sent under one server grab, so that the focus cannot change in between.
void Typist::deliver(std::vector<Stroke> &strokes)
{
    const XKeyboard::ServerGrab grab(m_keyboard);
    checkIsWanted("Typing stopped because the application is no longer in front.");
    for (const Stroke &stroke : std::exchange(strokes, {})) {
        hold(stroke.modifiers);
        m_keyboard.inject(stroke.code, true);
        m_keyboard.inject(stroke.code, false);
    }
    hold(0);
    m_keyboard.flush();
}

void Typist::press(KeySymbol symbol, uint8_t modifiers)
{
    prepare();
    std::optional<Stroke> stroke = m_map->find(symbol);
    // If the key itself needs modifiers, it would be another shortcut.
    if (!stroke || (modifiers != 0 && stroke->modifiers != 0)) {
        mapTemporarily(std::span(&symbol, 1));
        stroke = m_map->find(symbol);
    }
    if (!stroke)
        throw Failure("The keyboard layout has no room for this key.");
    const XKeyboard::ServerGrab grab(m_keyboard);
    checkIsWanted("The application is no longer in front.");

    uint8_t held = stroke->modifiers;
    for (const auto &[modifier, mask] :
         {std::pair(Modifier::shift, uint8_t{XCB_MOD_MASK_SHIFT}),
          std::pair(Modifier::control, uint8_t{XCB_MOD_MASK_CONTROL}),
          std::pair(Modifier::alt, m_map->alt())}) {
        if ((modifiers & static_cast<uint8_t>(modifier)) == 0)
            continue;
        if (mask == 0)
            failWithoutModifier();
        held |= mask;
    }
    hold(held);
    m_pressed = stroke->code;
    m_keyboard.inject(stroke->code, true);
    m_keyboard.flush();
}

void Typist::release()
{
    if (m_pressed)
        m_keyboard.inject(*std::exchange(m_pressed, std::nullopt), false);
    hold(0);
    m_keyboard.flush();
}

void Typist::finish()
{
    release();
    std::optional<Failure> failure;
    if (!m_mapping.isEmpty()) {
        try {
            letApplicationsFollow();
        } catch (const Failure &thrown) {
            failure = thrown;
        }
        m_mapping.restore();
    }
    m_heldModifiers.restore();
    m_record.end();
    if (failure)
        throw *failure;
}

void Typist::prepare()
{
    for (int i = 0; i < maxReadings; ++i) {
        const auto state = m_keyboard.state();
        const bool isStale = m_keyboard.mapHasChanged() || !m_map || state->group != m_map->group();
        if (isStale)
            read();
        else if ((state->mods & ~m_map->numLock()) == 0)
            return;
        m_heldModifiers.release(*m_map);
    }
}

// The requester may have given up while we waited for the server, and the focus may have changed
// while we waited for applications.
void Typist::checkIsWanted(const char *message) const
{
    const bool hasKeyboard = m_keyboard.reaches(m_receiver);
    if (s_isGivenUp != 0)
        throw Failure("Typing was given up.");
    if (!hasKeyboard)
        throw Failure(message);
}

void Typist::read()
{
    m_keyboard.activate();
    (void)m_keyboard.mapHasChanged();
    m_map.emplace(m_keyboard);
}

void Typist::mapExpected()
{
    std::vector<KeySymbol> missing;
    for (const KeySymbol symbol : m_expected) {
        const std::optional<Stroke> stroke = m_map->find(symbol);
        if (!stroke || m_mapping.contains(stroke->code))
            missing.push_back(symbol);
    }
    mapTemporarily(missing);
}

void Typist::mapTemporarily(std::span<const KeySymbol> symbols)
{
    hold(0);
    if (!m_mapping.isEmpty())
        letApplicationsFollow();
    m_mapping.assign(m_map->spareKeys(), symbols);
    read();
    letApplicationsFollow();
}

void Typist::letApplicationsFollow()
{
    m_keyboard.sync();
    const auto start = std::chrono::steady_clock::now();
    switch (m_frontHasTimedOut ? PingAnswer::timedOut : m_keyboard.waitForFront()) {
    case PingAnswer::caughtUp:
        std::this_thread::sleep_until(start + mapSettle);
        return;
    case PingAnswer::silent:
        std::this_thread::sleep_until(start + silentSettle);
        return;
    case PingAnswer::timedOut:
        // It is asked only once, so that everything is restored before our own timeout.
        m_frontHasTimedOut = true;
        throw Failure("The application in front does not answer.");
    }
}

void Typist::hold(uint8_t modifiers)
{
    // Releases in reverse order, then presses.
    for (int bit = 7; bit >= 0; --bit) {
        const auto modifier = static_cast<uint8_t>(1U << bit);
        const auto held = m_held.find(modifier);
        if (held == m_held.end() || (modifiers & modifier) != 0)
            continue;
        m_keyboard.inject(held->second, false);
        m_held.erase(held);
    }
    for (unsigned bit = 0; bit < 8; ++bit) {
        const auto modifier = static_cast<uint8_t>(1U << bit);
        if ((modifiers & modifier) == 0 || m_held.contains(modifier))
            continue;
        const std::optional<xcb_keycode_t> key = m_map->holder(modifier);
        if (!key)
            failWithoutModifier();
        m_keyboard.inject(*key, true);
        m_held.emplace(modifier, *key);
    }
}

std::vector<KeySymbol> numbers(std::istream &line)
{
    std::vector<KeySymbol> all;
    for (KeySymbol number = 0; line >> std::hex >> number;)
        all.push_back(number);
    return all;
}

[[noreturn]] void failWithUnknownRequest()
{
    throw Failure("The keyboard program was asked for something that it does not know.");
}

// The modifiers with these names, as bits.
uint8_t modifiers(std::istream &line)
{
    uint8_t all = 0;
    for (std::string name; line >> name;) {
        const auto known = std::ranges::find(modifierNames, name, &NamedModifier::first);
        if (known == modifierNames.end())
            failWithUnknownRequest();
        all |= static_cast<uint8_t>(known->second);
    }
    return all;
}

void perform(Typist &typist, const std::string &request)
{
    std::istringstream line(request);
    std::string what;
    line >> what;
    KeySymbol symbol = 0;
    if (what == "expect")
        typist.expect(numbers(line));
    else if (what == "type")
        typist.type(numbers(line));
    else if (what == "press" && line >> std::hex >> symbol)
        typist.press(symbol, modifiers(line));
    else if (what == "release")
        typist.release();
    else
        failWithUnknownRequest();
}
} // namespace

int main(int count, char **arguments)
{
    // The signals that end the starting program must not end this one, which has to restore the
    // keyboard.
    setsid();
    for (const int number : {SIGHUP, SIGINT, SIGQUIT, SIGPIPE})
        std::signal(number, SIG_IGN);
    std::signal(SIGTERM, &giveUp);
    try {
        if (count > 1 && std::string_view(arguments[1]) == "recover") {
            XKeyboard keyboard;
            ChangeRecord(keyboard).recover();
            return 0;
        }
        const unsigned long receiver = count > 1 ? std::strtoul(arguments[1], nullptr, 10) : 0;
        Typist typist(static_cast<uint32_t>(receiver));
        for (std::string request; std::getline(std::cin, request);) {
            perform(typist, request);
            std::cout << '\n' << std::flush;
        }
        typist.finish();
        return 0;
    } catch (const std::exception &failure) {
        std::cout << failure.what() << '\n' << std::flush;
        return 1;
    }
}
