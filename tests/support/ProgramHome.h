#pragma once

#include "tests/support/Program.h"

#include <QString>
#include <QStringList>
#include <QTemporaryDir>

/// A temporary home folder with Downloads and Desktop, for a program that is started.
class ProgramHome
{
public:
    ProgramHome();

    /// A path in this home; an absolute one is returned as it is.
    [[nodiscard]] QString path(const QString &relative = {}) const;
    /// What the program itself stores, such as models.
    [[nodiscard]] QString dataPath(const QString &relative) const;
    [[nodiscard]] QString modelPath(const QString &fileName) const;
    [[nodiscard]] QStringList modelFiles() const;
    /// The path of a file that has been moved to the Trash.
    [[nodiscard]] QString trashedPath(const QString &fileName) const;

    /// Creates a file of seven bytes that was changed so long ago, with its folder.
    void touch(const QString &relative, qint64 secondsAgo = 0) const;

    /// With this home and without a desktop or a network.
    [[nodiscard]] Program::Options options(Program::Input input = Program::Input::nothing) const;

private:
    QTemporaryDir m_folder;
};
