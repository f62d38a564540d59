#include "platform/linux/x11/X11Window.h"

#include "platform/linux/desktop/DesktopEntries.h"

using namespace Qt::StringLiterals;

bool X11Window::isOurs(const std::set<ProcessId> &ours) const
{
    return className.compare("Quillon"_L1, Qt::CaseInsensitive) == 0 ||
           (owner && ours.contains(*owner));
}

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
