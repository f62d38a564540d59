#pragma once

#include <functional>

/// Runs work of other threads on the main thread.
namespace MainThread {
/// Runs the work on the main thread's event loop, in the order of the calls. From any thread; needs
/// a QCoreApplication. Work that is still waiting when the application ends is dropped. It must not
/// throw.
void post(std::function<void()> work);
} // namespace MainThread
