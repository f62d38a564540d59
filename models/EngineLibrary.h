#pragma once

#include <QString>
#include <QStringList>

/// The library that runs the models, as it is on this machine.
struct EngineLibrary
{
    QString version;
    QStringList backends;   ///< What computes: "CPU", "Metal"; none if nothing does.
    QStringList extensions; ///< Which extensions of the processor it uses: "AVX2", "NEON".

    /// Loads the library's backends if that has not happened yet. One thread at a time.
    [[nodiscard]] static EngineLibrary current();
};
