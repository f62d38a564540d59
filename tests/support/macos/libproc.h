#pragma once

// The part of libproc that the assistant uses, as macOS declares it.

#include <sys/types.h>

#include <cstdint>

constexpr int PROC_PIDPATHINFO_MAXSIZE = 4096;
constexpr int PROC_PIDTBSDINFO = 3;
constexpr int PROC_PIDFDVNODEPATHINFO = 2;

struct proc_bsdinfo
{
    uint32_t pbi_pid;
    uint32_t pbi_ppid;
    uint32_t pbi_pgid;
    uint32_t e_tdev;
    uint32_t e_tpgid;
};

struct vinfo_stat
{
    uint32_t vst_rdev;
};

struct vnode_info
{
    vinfo_stat vi_stat;
};

struct vnode_info_path
{
    vnode_info vip_vi;
    char vip_path[1024];
};

struct vnode_fdinfowithpath
{
    vnode_info_path pvip;
};

int proc_listallpids(void *buffer, int size);
int proc_pidpath(int process, void *buffer, uint32_t size);
int proc_pidinfo(int process, int flavor, uint64_t argument, void *buffer, int size);
int proc_pidfdinfo(int process, int descriptor, int flavor, void *buffer, int size);
