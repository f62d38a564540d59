#pragma once

/// Waits until all data that was written to the open file is on the disk, as far as its file system
/// can tell; Qt has no counterpart. Throws a std::system_error. Any thread.
void flushToDisk(int fileDescriptor);
