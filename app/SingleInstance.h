#pragma once

#include "platform/Instance.h"

/// Settles which of the program's starts becomes the one that runs. Main thread.
namespace SingleInstance {
enum class Outcome {
    isOurs,     ///< This process is the one; requests of later starts go to `received`.
    handedOver, ///< Another one runs and has the request.
    silent,     ///< Another one runs and does not answer.
};

/// Blocks for as long as the running process takes to answer, at most; see Instance.
[[nodiscard]] Outcome settle(const std::function<void(Instance::Request)> &received,
                             Instance::Request request);
} // namespace SingleInstance
