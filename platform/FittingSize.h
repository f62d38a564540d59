#pragma once

#include "platform/NativeWindow.h"

/// The window's size, reduced to the area of its screen but not below its minimum. An empty area is
/// unknown and reduces nothing.
[[nodiscard]] inline QSize fittingSize(const NativeWindow &window, QSize area)
{
    return area.isEmpty() ? window.size()
                          : window.size().boundedTo(area).expandedTo(window.minimumSize());
}
