#pragma once

#include <csignal>

#include <sys/resource.h>

/// Files cannot grow beyond this size while one of these exists, as on a full disk.
class FileSizeLimit
{
public:
    explicit FileSizeLimit(rlim_t size)
    {
        m_usualHandler = std::signal(SIGXFSZ, SIG_IGN);
        ::getrlimit(RLIMIT_FSIZE, &m_usual);
        const rlimit limit = {size, m_usual.rlim_max};
        ::setrlimit(RLIMIT_FSIZE, &limit);
    }
    ~FileSizeLimit()
    {
        ::setrlimit(RLIMIT_FSIZE, &m_usual);
        std::signal(SIGXFSZ, m_usualHandler);
    }
    FileSizeLimit(const FileSizeLimit &) = delete;
    FileSizeLimit &operator=(const FileSizeLimit &) = delete;

private:
    rlimit m_usual = {};
    void (*m_usualHandler)(int) = nullptr;
};
