#pragma once

#include <QMap>
#include <QString>

#include <libproc.h>

/// A stand-in for libproc's table of processes.
namespace FakeLibproc {
struct Process
{
    proc_bsdinfo told{};
    QByteArray path{};
    QByteArray inputPath{}; ///< Of its standard input; empty where that is no file.
    uint32_t inputDevice = 0;
};

extern QMap<int, Process> processes;
} // namespace FakeLibproc
