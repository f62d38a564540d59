#pragma once

#include <QMap>
#include <QString>

#include <libproc.h>

/// A fake of libproc's process table.
namespace FakeLibproc {
struct Process
{
    proc_bsdinfo told{};
    QByteArray path{};
    QByteArray inputPath{}; ///< The path of its standard input; empty if that is not a file.
    uint32_t inputDevice = 0;
};

extern QMap<int, Process> processes;
} // namespace FakeLibproc
