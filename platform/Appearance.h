#pragma once

#include <QByteArray>
#include <QString>

#include <functional>
#include <optional>

/// The user's settings for the appearance of applications.
struct Look
{
    struct Color
    {
        double red = 0; ///< From 0 to 1, like the others.
        double green = 0;
        double blue = 0;

        bool operator==(const Color &) const = default;
    };

    bool isDark = false;
    bool hasReducedMotion = false;
    std::optional<Color> accent = {}; ///< Absent if the system has none.

    bool operator==(const Look &) const = default;
};

/// The desktop's settings for the appearance, and its symbols. Main thread only. If the desktop
/// does not answer, the look is light and with motion.
class Appearance
{
public:
    virtual ~Appearance() = default;

    /// What is known at once; settings that arrive later are announced as a change.
    [[nodiscard]] virtual Look look() = 0;

    /// Calls `changed` on the main thread when look() has changed. For one observer.
    virtual void observe(std::function<void()> changed) = 0;

    /// The system's symbol with that name of Apple's set, rendered into a square of so many pixels:
    /// the coverage of each pixel as one byte, row by row from the top. Empty if the system has
    /// none. May also be called on a render thread while the main thread waits for it.
    [[nodiscard]] virtual QByteArray symbol(const QString &name, int side) = 0;
};
