#pragma once

/// The calling thread, if it is one of our own.
namespace WorkerThread {
/// Names the thread, for debuggers and process lists (at most 15 characters), and marks its work as
/// something that the user is waiting for, if the system has such marks.
void begin(const char *name);

/// Keeps the thread here until the process ends: for a thread that can neither go on nor unwind,
/// because a library has failed in the middle of a call.
[[noreturn]] void park();
} // namespace WorkerThread
