#pragma once

#include <Carbon/Carbon.h>

#include <QList>

#include <functional>
#include <optional>

/// A stand-in for Carbon's hot keys and for the main queue, both of which wait to be told to go on.
/// A call with another target than the application's, or another queue than the main one, aborts.
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
extern OSStatus result; ///< What both calls answer.
extern QList<Handler> handlers;
extern QList<HotKey> hotKeys;

/// The user presses the key; what the handler answers.
[[nodiscard]] OSStatus press();
/// Does what waits in the main queue, and returns how much that was.
int runMainQueue();
} // namespace FakeCarbon
