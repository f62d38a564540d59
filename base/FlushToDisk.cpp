#include "base/FlushToDisk.h"

#include <cerrno>
#include <system_error>

#include <unistd.h>

void flushToDisk(int fileDescriptor)
{
    while (::fsync(fileDescriptor) != 0) {
        if (errno == EINTR)
            continue;
        if (errno == EINVAL || errno == ENOSYS || errno == ENOTSUP)
            return; // Some file systems do not support fsync.
        throw std::system_error(errno, std::generic_category());
    }
}
