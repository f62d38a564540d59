#pragma once

#include <QByteArray>
#include <QString>

#include <functional>
#include <optional>

/// How the user wants applications to look.
struct Look
{
    struct Color
    {
        double red = 0; ///< 0 to 1, as the others.
        double green = 0;
        double blue = 0;

        bool operator==(const Color &) const = default;
    };

    bool isDark = false;
    bool hasReducedMotion = false;
    std::optional<Color> accent = {}; ///< Absent where the system has none.

    bool operator==(const Look &) const = default;
};

/// The desktop's settings about appearance, and its symbols. Main thread only. Without an answer
/// from the desktop the look is a light one with motion.
class Appearance
{
public:
    virtual ~Appearance() = default;

    /// What is known at once; what takes longer arrives as a change.
    [[nodiscard]] virtual Look look() = 0;

    /// Calls this on the main thread whenever look() has changed. For one observer.
    virtual void observe(std::function<void()> changed) = 0;

    /// The system's own symbol of that name, under the names of Apple's set, drawn into a square of
    /// so many pixels: how far each pixel is covered, a byte each, row by row from the top. Empty
    /// where the system has none. Also on a thread that renders while the main thread waits for it.
    [[nodiscard]] virtual QByteArray symbol(const QString &name, int side) = 0;
};
