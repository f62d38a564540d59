#pragma once

#include <QtGlobal>

/// The operating system's number for a process.
enum class ProcessId : qint64 {};
