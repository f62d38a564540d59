#pragma once

#include <QString>
#include <QStringList>

/// The parts of the library that compute, some of which it loads at run time: those for the
/// processor at hand, and for a graphics processor. From one thread at a time.
namespace GgmlBackends {
/// Loads what the library does not carry in itself, from its own folder or from the one that it was
/// built for, and from nowhere else: left alone, it would take what lies in the working directory.
/// A second call does nothing.
void load();

/// What was loaded, in the library's own words: "CPU", "Metal" and so on.
[[nodiscard]] QStringList names();

/// Which of the processor's extensions are used: "AVX2", "NEON" and so on.
[[nodiscard]] QStringList extensions();
} // namespace GgmlBackends
