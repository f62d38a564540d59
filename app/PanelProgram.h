#pragma once

#include "app/QuillonApp.h"
#include "platform/Instance.h"

#include <optional>

/// The program with its panel: one process per desktop.
namespace PanelProgram {
/// Runs until the user quits, or hands the request to the process that runs already. Without one it
/// was started for a request that is on its way. Returns the exit status; a failure is told in one
/// sentence on the standard error.
[[nodiscard]] int run(int argc, char **argv, std::optional<Instance::Request> request,
                      const QuillonApp::Views &views);
} // namespace PanelProgram
