#pragma once

#include "app/QuillonApp.h"
#include "platform/Instance.h"

#include <optional>

/// The program with its panel: one process per desktop.
namespace PanelProgram {
/// Runs until the user quits, or sends the request to the running process. No request means that it
/// was started by the bus, which sends one. Returns the exit status; prints one sentence to
/// standard error on failure.
[[nodiscard]] int run(int argc, char **argv, std::optional<Instance::Request> request,
                      const QuillonApp::Views &views);
} // namespace PanelProgram
