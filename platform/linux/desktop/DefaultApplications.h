#pragma once

#include <QString>
#include <QStringList>

#include <functional>

/// Which application opens what, as the user, the desktop and the applications have said it in the
/// files that all desktops share. GIO knows the same, but looks into all application folders first,
/// without a bound. Main thread.
namespace DefaultApplications {
/// The ids of the applications for that type of content, the one to take first in front, without
/// ".desktop". Those for the types that it is a kind of come behind: text behind a script. Only
/// those count of which `isThere` says so.
[[nodiscard]] QStringList forType(const QString &contentType, const QStringList &applicationFolders,
                                  const std::function<bool(const QString &)> &isThere);
} // namespace DefaultApplications
