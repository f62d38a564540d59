#pragma once

#include "app/QuillonApp.h"
#include "platform/Instance.h"

#include <optional>

/// The program with its panel: one process per desktop.
namespace PanelProgram {
/// Starts the program without showing its panel, as at login.
inline constexpr auto backgroundOption = "background";

using Start = AppDelegate::Start;

/// Runs until the user quits, or sends the request to the running process. No request means that it
/// was started by the bus, which sends one. Returns the exit status; prints one sentence to
/// standard error on failure. A hidden start shows nothing, also if the program is running already.
[[nodiscard]] int run(int argc, char **argv, std::optional<Instance::Request> request,
                      const QuillonApp::Views &views, Start start = Start::shown);
} // namespace PanelProgram
