#pragma once

/// The system's accessibility interface, over which applications show and press their controls.
/// Main thread only.
class Accessibility
{
public:
    virtual ~Accessibility() = default;

    /// Whether we may look at other applications and control them. Cheap, and bounded where the
    /// system does not answer.
    [[nodiscard]] virtual bool isTrusted() = 0;

    /// Asks the system, or through it the user, for that permission. It may come later, or never.
    virtual void requestTrust() = 0;
};
