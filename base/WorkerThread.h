#pragma once

/// For the calling thread, which must be one of our own.
namespace WorkerThread {
/// Names the thread for debuggers and process lists (at most 15 characters) and, if the system has
/// such classes, gives it the priority of work that the user is waiting for.
void begin(const char *name);

/// Blocks the thread until the process ends: for a thread that can neither continue nor unwind,
/// because a library has failed in the middle of a call.
[[noreturn]] void park();
} // namespace WorkerThread
