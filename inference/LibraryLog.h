#pragma once

#include <QtGlobal>

/// The library's log lines as messages of the category "quillon.llama", which is off unless
/// somebody asks for it, for example with QT_LOGGING_RULES="quillon.llama=true".
namespace LibraryLog {
/// Adds text to the current thread's line, and logs the line when it is complete. From any thread.
void write(QtMsgType type, const char *text);
/// Continues the current thread's line with its type.
void append(const char *text);
} // namespace LibraryLog
