#pragma once

#include "app/QuillonApp.h"

/// The program's command line: the panel, one task in the terminal, or the doctor.
namespace CommandLine {
/// Runs the program as the arguments request and returns the exit status.
[[nodiscard]] int run(int argc, char **argv, const QuillonApp::Views &views);
} // namespace CommandLine
