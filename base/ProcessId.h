#pragma once

#include <QtGlobal>

/// The operating system's process identifier.
enum class ProcessId : qint64 {};
