#include "platform/linux/WindowOwner.h"

#include "platform/linux/X11Connection.h"

#include <QCoreApplication>

WindowOwner WindowOwners::of(const X11Window &window) const
{
    if (const auto application = m_entryOf(window))
        return {application->names.constFirst(), application->location};
    for (const QString &name : {window.className, window.instanceName}) {
        if (!name.isEmpty())
            return {name, std::nullopt};
    }
    return {};
}

bool isOurs(const X11Window &window)
{
    return window.owner == ProcessId{QCoreApplication::applicationPid()};
}
