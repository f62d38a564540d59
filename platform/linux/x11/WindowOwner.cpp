#include "platform/linux/x11/WindowOwner.h"

#include "platform/linux/desktop/DesktopEntries.h"
#include "platform/linux/x11/X11Connection.h"

using namespace Qt::StringLiterals;

WindowOwner ownerOf(const X11Window &window)
{
    if (const auto application = DesktopEntries::forWindow(window))
        return {application->names.constFirst(), application->location};
    for (const QString &name : {window.className, window.instanceName}) {
        if (!name.isEmpty())
            return {name, DesktopEntries::locationWithoutEntry(name)};
    }
    return {};
}

bool isOurs(const X11Window &window, const std::set<ProcessId> &ours)
{
    return window.className.compare("Quillon"_L1, Qt::CaseInsensitive) == 0 ||
           (window.owner && ours.contains(*window.owner));
}
