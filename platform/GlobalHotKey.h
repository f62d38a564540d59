#pragma once

#include <functional>

/// The global key combination Option+Space. Main thread only.
class GlobalHotKey
{
public:
    virtual ~GlobalHotKey() = default;

    /// Calls `pressed` on the main thread for every press from now on, queued behind the current
    /// event; holding the keys down is one press. May be called once and is never undone. If
    /// another program owns the combination, or there is no keyboard, fails silently.
    virtual void registerKey(std::function<void()> pressed) = 0;
};
