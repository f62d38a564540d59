#pragma once

#include "base/ProcessId.h"
#include "platform/linux/atspi/AtSpiBus.h"

#include <QList>

#include <optional>

/// The pages that a browser shows, read over the accessibility bus. Each page is an object of its
/// own.
struct BrowserPages
{
    QList<DBusObject> shown;          ///< In all of its windows.
    std::optional<DBusObject> loaded; ///< The one in the active window, once it is there.

    /// Asks the browser with that process. Empty if it does not answer by the deadline; nothing if
    /// it is not on the accessibility bus. Any thread; blocks beyond the deadline only if a bus has
    /// stopped.
    [[nodiscard]] static std::optional<BrowserPages> of(ProcessId browser,
                                                        PrivateBus::Deadline deadline);
};
