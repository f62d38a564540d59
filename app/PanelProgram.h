#pragma once

#include "app/QuillonApp.h"
#include "platform/Instance.h"

/// The program with its panel: one process per desktop.
namespace PanelProgram {
/// Runs until the user quits, or hands the request to the process that runs already. Returns the
/// exit status; a failure is told in one sentence on the standard error.
[[nodiscard]] int run(int argc, char **argv, Instance::Request request,
                      const QuillonApp::Views &views);
} // namespace PanelProgram
