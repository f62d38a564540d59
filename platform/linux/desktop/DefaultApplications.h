#pragma once

#include <QString>
#include <QStringList>

#include <functional>

/// The default applications of content types, read from the shared files of the user, the desktop
/// and the applications (mimeapps.list). GIO has the same function, but it reads all application
/// folders first, without a limit. Main thread.
namespace DefaultApplications {
/// The ids of the applications for that content type, in order of preference, without ".desktop".
/// Applications for its parent types follow, such as those for text after those for a script.
/// Includes only those for which `isThere` returns true.
[[nodiscard]] QStringList forType(const QString &contentType, const QStringList &applicationFolders,
                                  const std::function<bool(const QString &)> &isThere);
} // namespace DefaultApplications
