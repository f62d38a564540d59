#pragma once

#include <QtGlobal>

/// Writes llama.cpp's log to the logging category "quillon.llama", which is off by default;
/// QT_LOGGING_RULES="quillon.llama=true" enables it.
namespace LibraryLog {
/// Adds text to the current thread's line, and logs the line when it is complete. Thread-safe.
void write(QtMsgType type, const char *text);
/// Adds text to the current thread's line, with the type of that line.
void append(const char *text);
} // namespace LibraryLog
