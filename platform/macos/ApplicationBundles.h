#pragma once

#include "platform/Workspace.h"

#include <QList>
#include <QString>
#include <QStringList>

/// Applications as bundles in folders. A location is a bundle's path.
namespace ApplicationBundles {
/// The folders with applications, in the order of searching.
[[nodiscard]] QStringList folders();

/// The bundles in that folder, in the order of the listing.
[[nodiscard]] QList<InstalledApplication> in(const QString &folder);

/// The bundle's file name without its extension.
[[nodiscard]] QString name(const QString &location);

/// A running application with these properties; empty texts become absent. The policy is an
/// NSApplicationActivationPolicy.
[[nodiscard]] Application running(qint64 pid, const QString &name, long policy,
                                  const QString &location);
} // namespace ApplicationBundles
