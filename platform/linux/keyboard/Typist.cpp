#include "platform/linux/keyboard/Typist.h"

#include <algorithm>
#include <chrono>
#include <ranges>
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

// Without it, the key would do something else.
[[noreturn]] void failWithoutModifier()
{
    throw Failure("The keyboard layout lacks one of the modifier keys.");
}
} // namespace

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
            borrowForExpected();
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
            borrowForExpected();
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
    const XKeyboard::ServerGrab standstill(m_keyboard);
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
        borrow(std::span(&symbol, 1));
        stroke = m_map->find(symbol);
    }
    if (!stroke)
        throw Failure("The keyboard layout has no room for this key.");
    const XKeyboard::ServerGrab standstill(m_keyboard);
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
        } catch (const Failure &complaint) {
            failure = complaint;
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
void Typist::checkIsWanted(const char *complaint) const
{
    const bool hasKeyboard = m_keyboard.reaches(m_receiver);
    if (m_isGivenUp != 0)
        throw Failure("Typing was given up.");
    if (!hasKeyboard)
        throw Failure(complaint);
}

void Typist::read()
{
    m_keyboard.activate();
    (void)m_keyboard.mapHasChanged();
    m_map.emplace(m_keyboard);
}

void Typist::borrowForExpected()
{
    std::vector<KeySymbol> missing;
    for (const KeySymbol symbol : m_expected) {
        const std::optional<Stroke> stroke = m_map->find(symbol);
        if (!stroke || m_mapping.contains(stroke->code))
            missing.push_back(symbol);
    }
    borrow(missing);
}

void Typist::borrow(std::span<const KeySymbol> symbols)
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
    switch (m_isFrontDeaf ? Front::timedOut : m_keyboard.waitForFront()) {
    case Front::caughtUp:
        std::this_thread::sleep_until(start + mapSettle);
        return;
    case Front::silent:
        std::this_thread::sleep_until(start + silentSettle);
        return;
    case Front::timedOut:
        // It is asked only once, so that everything is restored before our own timeout.
        m_isFrontDeaf = true;
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
