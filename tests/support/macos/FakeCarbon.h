#pragma once

#include <Carbon/Carbon.h>

#include <QList>

#include <functional>
#include <optional>

/// A fake of Carbon's hot keys and of the main queue, both controlled by the test. A call with
/// another target than the application's, or another queue than the main one, aborts.
namespace FakeCarbon {
struct Handler
{
    QList<std::pair<OSType, UInt32>> types;
    EventHandlerUPP function = nullptr;
    void *userData = nullptr;
    bool keepsReference = false;
};
struct HotKey
{
    UInt32 keyCode = 0;
    UInt32 modifiers = 0;
    OSType signature = 0;
    UInt32 id = 0;
    OptionBits options = 0;
};

void reset();
extern OSStatus result; ///< The result of both calls.
extern QList<Handler> handlers;
extern QList<HotKey> hotKeys;

/// Presses the key; returns the handler's result.
[[nodiscard]] OSStatus press();
/// Runs the work in the main queue and returns the number of blocks.
int runMainQueue();
} // namespace FakeCarbon
