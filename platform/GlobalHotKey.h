#pragma once

#include <QString>

#include <functional>

/// The global key combination Option+Space, and its replacement if another program owns it. Main
/// thread only.
class GlobalHotKey
{
public:
    virtual ~GlobalHotKey() = default;

    /// Calls `pressed` on the main thread for every press from now on, queued behind the current
    /// event; holding the keys down is one press. May be called once and is never undone. If
    /// another program owns the combination, or there is no keyboard, fails silently.
    virtual void registerKey(std::function<void()> pressed) = 0;

    /// The combination in this desktop's notation: "Alt+Space".
    [[nodiscard]] virtual QString name() const = 0;

    /// Whether registerKey() has succeeded, as far as the system tells.
    [[nodiscard]] virtual bool isOurs() const = 0;

    /// Another combination that can be bound in the desktop's settings, in its notation; empty if
    /// there is none.
    [[nodiscard]] virtual QString alternative() = 0;

    /// Whether that combination is bound, now or by an earlier session.
    [[nodiscard]] virtual bool isAlternativeBound() = 0;

    /// Binds that combination. Only with the user's consent, since it changes the desktop's
    /// settings. Throws a PlatformError.
    virtual void bindAlternative() = 0;

    /// The command for users who bind a key themselves; empty if the system has no settings for
    /// that.
    [[nodiscard]] virtual QString command() = 0;
};
