#pragma once

#include "platform/Instance.h"

/// Makes one of the program's starts the running instance. Main thread.
namespace SingleInstance {
enum class Outcome {
    isOurs, ///< This process is the running instance; requests of later starts go to `received`.
    handedOver, ///< The running instance has received the request.
    silent,     ///< The running instance does not answer.
};

/// Blocks until the running instance answers, with the timeout of Instance.
[[nodiscard]] Outcome settle(const std::function<void(Instance::Request)> &received,
                             Instance::Request request);
} // namespace SingleInstance
