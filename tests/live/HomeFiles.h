#pragma once

#include <QByteArray>
#include <QMap>
#include <QString>
#include <QStringList>

/// What a user would notice in a home folder: its files and folders that are not hidden, and the
/// Trash.
class HomeFiles
{
public:
    [[nodiscard]] static HomeFiles of(const QString &home);

    /// What came, went or changed between the two, by its path in the home folder, apart from what
    /// the patterns name. With an item goes what is in it, the folders above it, and the copy that
    /// an editor keeps of it.
    [[nodiscard]] QStringList changesSince(const HomeFiles &before,
                                           const QStringList &expected) const;

private:
    QMap<QString, QByteArray> m_contents; ///< By path; a folder's ends in a slash.
};
