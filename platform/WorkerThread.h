#pragma once

/// What the operating system can be told about a thread of our own.
namespace WorkerThread {
/// Names the calling thread, for debuggers and process lists (at most 15 characters), and marks its
/// work as something the user is waiting for, where the system knows such marks.
void begin(const char *name);
} // namespace WorkerThread
