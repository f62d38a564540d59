#include "FakeLibproc.h"

#include <algorithm>
#include <cstring>

QMap<int, FakeLibproc::Process> FakeLibproc::processes;

int proc_listallpids(void *buffer, int size)
{
    const QList<int> all = FakeLibproc::processes.keys();
    if (!buffer)
        return static_cast<int>(all.size());
    const qsizetype count = std::min(all.size(), size / qsizetype(sizeof(int)));
    std::copy_n(all.constData(), count, static_cast<int *>(buffer));
    return static_cast<int>(count);
}

int proc_pidpath(int process, void *buffer, uint32_t size)
{
    const QByteArray path = FakeLibproc::processes.value(process).path;
    if (path.isEmpty() || path.size() >= qsizetype{size})
        return 0;
    std::memcpy(buffer, path.constData(), static_cast<size_t>(path.size()));
    return static_cast<int>(path.size());
}

int proc_pidinfo(int process, int flavor, uint64_t, void *buffer, int size)
{
    const auto found = FakeLibproc::processes.constFind(process);
    if (found == FakeLibproc::processes.constEnd() || flavor != PROC_PIDTBSDINFO ||
        size != static_cast<int>(sizeof(proc_bsdinfo)))
        return 0;
    std::memcpy(buffer, &found->told, sizeof(proc_bsdinfo));
    return size;
}

int proc_pidfdinfo(int process, int descriptor, int flavor, void *buffer, int size)
{
    const FakeLibproc::Process found = FakeLibproc::processes.value(process);
    if (found.inputPath.isEmpty() || descriptor != 0 || flavor != PROC_PIDFDVNODEPATHINFO ||
        size != static_cast<int>(sizeof(vnode_fdinfowithpath)))
        return 0;
    vnode_fdinfowithpath told{};
    told.pvip.vip_vi.vi_stat.vst_rdev = found.inputDevice;
    std::memcpy(told.pvip.vip_path, found.inputPath.constData(),
                static_cast<size_t>(found.inputPath.size()));
    std::memcpy(buffer, &told, sizeof(told));
    return size;
}
