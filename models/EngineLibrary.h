#pragma once

#include <QString>
#include <QStringList>

/// What the library that runs the models uses on this machine.
struct EngineLibrary
{
    QString version;
    QStringList backends;   ///< The loaded ones: "CPU", "Metal"; empty if there are none.
    QStringList extensions; ///< The processor's extensions in use: "AVX2", "NEON".

    /// Loads the library's backends if they are not loaded yet. Not thread-safe.
    [[nodiscard]] static EngineLibrary current();
};
