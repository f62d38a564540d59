#pragma once

#include <QString>
#include <QStringList>

/// The ggml backends, which compute on this machine's processor or graphics processor. Some are
/// loaded at run time. Not thread-safe.
namespace GgmlBackends {
/// Loads the backends that are not linked in, from the library's own folder or from the one that it
/// was built for only: ggml's default would also load from the working directory. Later calls do
/// nothing.
void load();

/// ggml's names of the loaded backends: "CPU", "Metal" and so on.
[[nodiscard]] QStringList names();

/// The processor extensions in use: "AVX2", "NEON" and so on.
[[nodiscard]] QStringList extensions();
} // namespace GgmlBackends
