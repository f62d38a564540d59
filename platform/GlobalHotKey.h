#pragma once

#include <functional>

/// The key combination Option+Space, wherever the user is. Main thread only.
class GlobalHotKey
{
public:
    virtual ~GlobalHotKey() = default;

    /// From now on calls this on the main thread, after the event at hand, once for every press:
    /// holding the keys down is one press. Called once and never undone. Where another program
    /// owns the combination, or there is no keyboard, nothing happens and nobody is told.
    virtual void registerKey(std::function<void()> pressed) = 0;
};
