#pragma once

#include "base/ProcessId.h"
#include "platform/linux/atspi/DBus.h"

#include <QList>

#include <optional>

/// The pages that a browser shows, as it tells over the accessibility bus. Each page is another
/// object.
struct BrowserPages
{
    QList<DBusObject> shown;          ///< In all of its windows.
    std::optional<DBusObject> loaded; ///< The one in the active window, once it is there.

    /// Asks the browser that runs as this process; one that does not answer by the deadline shows
    /// nothing so far. Nothing when it is not on the accessibility bus. Any thread; it may block
    /// for longer only when a bus has stopped.
    [[nodiscard]] static std::optional<BrowserPages> of(ProcessId browser,
                                                        PrivateBus::Deadline deadline);
};
