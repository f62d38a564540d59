#pragma once

#include <QString>

/// One thing that a diagnosis has looked at.
struct Finding
{
    enum class Verdict {
        good,
        neutral, ///< It is not there and need not be.
        limited, ///< Something does not work; most tasks do.
        bad,     ///< It stands in the way of most tasks.
    };

    Verdict verdict = Verdict::good;
    QString state;    ///< How it is, without a full stop.
    QString advice{}; ///< What to do, in whole sentences; empty where nothing is wrong.

    bool operator==(const Finding &) const = default;
};

/// What this system has to say about the things that the assistant depends on. It looks and changes
/// nothing, and opens no connection to the network. Main thread; each answer is bounded to a few
/// seconds where the system is silent. Whoever has seen a display that is bad asks no further than
/// for what gets along without one.
class Diagnosis
{
public:
    virtual ~Diagnosis() = default;

    /// Whether there is a desktop to show the panel on and to work with.
    [[nodiscard]] virtual Finding display() = 0;

    /// Whether other applications' controls can be read and pressed.
    [[nodiscard]] virtual Finding accessibility() = 0;

    /// Whether Option+Space is free, or ours. Needs a display, and takes the key for a moment.
    [[nodiscard]] virtual Finding hotKey() = 0;

    /// Whether pictures of the screen can be taken. Needs a display.
    [[nodiscard]] virtual Finding screenCapture() = 0;

    /// Whether there is an application that shows folders.
    [[nodiscard]] virtual Finding fileManager() = 0;
};
