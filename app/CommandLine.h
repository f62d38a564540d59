#pragma once

#include "app/QuillonApp.h"

/// The program as it is started: with its panel, or with one task for the terminal.
namespace CommandLine {
/// Does what the arguments ask for and returns the exit status.
[[nodiscard]] int run(int argc, char **argv, const QuillonApp::Views &views);
} // namespace CommandLine
