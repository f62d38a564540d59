#pragma once

#include "platform/linux/desktop/LinuxProcesses.h"

#include <QString>

/// Programs based on Chromium: browsers and Electron applications. They expose their controls only
/// if they are started with an option.
namespace ChromiumProgram {
/// "--force-renderer-accessibility".
[[nodiscard]] QString openingOption();

/// Whether the file is such a program, or a script that starts one. Recognised by the resources
/// beside the program.
[[nodiscard]] bool is(const QString &file);

/// Whether the process runs such a program without the option.
[[nodiscard]] bool isClosed(ProcessId process, const LinuxProcesses &processes = {});

/// The command line of a desktop entry, with the option added if it starts such a program.
[[nodiscard]] QString opened(const QString &commandLine);
} // namespace ChromiumProgram
