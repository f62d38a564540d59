#pragma once

#include <QString>

#include <functional>

/// The global key combination Option+Space, and what replaces it if another program owns it. Main
/// thread only.
class GlobalHotKey
{
public:
    virtual ~GlobalHotKey() = default;

    /// Calls `pressed` on the main thread for every press from now on, queued behind the current
    /// event; holding the keys down is one press. May be called once and is never undone. If
    /// another program owns the combination, or there is no keyboard, fails silently.
    virtual void registerKey(std::function<void()> pressed) = 0;

    /// The combination as this desktop writes it: "Alt+Space".
    [[nodiscard]] virtual QString name() const = 0;

    /// Whether the presses reach us after registerKey(), as far as the system tells.
    [[nodiscard]] virtual bool isOurs() const = 0;

    /// Another combination that the desktop can be told to show the panel with, as it writes that;
    /// empty if the desktop cannot be told.
    [[nodiscard]] virtual QString alternative() = 0;

    /// Whether the desktop has been told so, now or in an earlier session.
    [[nodiscard]] virtual bool isAlternativeBound() = 0;

    /// Tells the desktop so. Only with the user's consent: it changes the desktop's settings.
    /// Throws PlatformError.
    virtual void bindAlternative() = 0;

    /// The command that does what the key does, for users who bind a key by hand; empty if the
    /// system has no settings for that.
    [[nodiscard]] virtual QString command() = 0;
};
