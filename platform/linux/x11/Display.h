#pragma once

#include <QtGlobal>

/// Whether there is a display at all: applications that are started without one only die.
[[nodiscard]] inline bool hasDisplay()
{
    return !qEnvironmentVariableIsEmpty("DISPLAY") ||
           !qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY");
}
