#pragma once

#include "tests/support/VirtualDesktop.h"

/// A common desktop with the programs that a login starts and the panel meets: the window manager,
/// the panel, the settings, the keys, the notifications and the portal.
struct Session
{
    QString name = {};
    VirtualDesktop::Options options = {};
    bool drawsShadows = false;  ///< Windows draw their own shadows.
    bool blurs = false;         ///< What is behind translucent windows.
    bool bindsKeys = false;     ///< It runs commands by keys, and the panel knows its settings.
    bool showsAttention = true; ///< Also visible windows have the state that demands attention.
    bool startsWithOverview = false;
    int bars = 0;     ///< How many bars there are as windows,
    QString bar = {}; ///< and their class.

    /// The desktop on a screen of that size and at that scale.
    [[nodiscard]] static Session find(const QString &name, QSize screen, double scale);

    [[nodiscard]] static QStringList names();

    /// The first program of it that is not installed; empty if it can be started.
    [[nodiscard]] QString missingProgram() const;
};
