#pragma once

#include "platform/Workspace.h"

#include <QString>

using Qt::StringLiterals::operator""_s;

/// Programs that are made of Chromium: the browser, its relatives and what Electron runs. They tell
/// other programs of their controls only when they were started with an option.
namespace ChromiumProgram {
/// "--force-renderer-accessibility".
[[nodiscard]] QString openingOption();

/// Whether the file is such a program, or a script that starts one: by the resources that lie
/// beside the program, whatever it is called.
[[nodiscard]] bool is(const QString &file);

/// Whether the process is such a program and was started without the option.
[[nodiscard]] bool isClosed(ProcessId process, const QString &table = u"/proc"_s);

/// The command line of a desktop entry with the option, if it starts such a program; else as it is.
[[nodiscard]] QString opened(const QString &commandLine);
} // namespace ChromiumProgram
