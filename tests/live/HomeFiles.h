#pragma once

#include <QByteArray>
#include <QMap>
#include <QString>
#include <QStringList>

/// The visible files and folders of a home folder, and the Trash.
class HomeFiles
{
public:
    [[nodiscard]] static HomeFiles of(const QString &home);

    /// The paths of added, removed and changed items, without those that the patterns match. An
    /// item includes its contents, the folders above it, and an editor's backup of it.
    [[nodiscard]] QStringList changesSince(const HomeFiles &before,
                                           const QStringList &expected) const;

private:
    QMap<QString, QByteArray> m_contents; ///< By path; a folder's ends in a slash.
};
