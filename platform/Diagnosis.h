#pragma once

#include <QString>

/// The result of one check.
struct Finding
{
    enum class Verdict {
        good,
        neutral, ///< Missing, but optional.
        limited, ///< Some tasks do not work.
        bad,     ///< Most tasks do not work.
    };

    Verdict verdict = Verdict::good;
    QString state;    ///< The state in words, without a full stop.
    QString advice{}; ///< What to do, in whole sentences; empty if nothing is wrong.

    bool operator==(const Finding &) const = default;
};

/// Checks what the assistant needs from this system. Changes nothing and does not use the network.
/// Main thread; each check has a timeout of a few seconds. If display() is bad, checks that need a
/// display must not be called.
class Diagnosis
{
public:
    virtual ~Diagnosis() = default;

    /// Whether there is a desktop for the panel and the tasks.
    [[nodiscard]] virtual Finding display() = 0;

    /// Whether controls of other applications can be read and pressed.
    [[nodiscard]] virtual Finding accessibility() = 0;

    /// Whether Option+Space is free or ours. Needs a display; grabs the key for a moment.
    [[nodiscard]] virtual Finding hotKey() = 0;

    /// Whether the screen can be captured. Needs a display.
    [[nodiscard]] virtual Finding screenCapture() = 0;

    /// Whether there is an application that shows folders.
    [[nodiscard]] virtual Finding fileManager() = 0;
};
