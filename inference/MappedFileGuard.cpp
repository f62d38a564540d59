#include "inference/MappedFileGuard.h"

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdint>

// POSIX, the same on every system that this program runs on.
#include <pthread.h>
#include <sys/mman.h>
#include <unistd.h>

namespace {
std::atomic<int> s_guards = 0;
std::atomic<unsigned> s_missed = 0;
struct sigaction s_before = {};

static_assert(std::atomic<int>::is_always_lock_free && std::atomic<unsigned>::is_always_lock_free,
              "A signal handler must not wait.");

// Static variables are initialised on the main thread.
const pthread_t mainThread = pthread_self();
const auto pageSize = static_cast<std::uintptr_t>(sysconf(_SC_PAGESIZE));

// Only faults of the thread itself (no signal sent by kill), and not misaligned accesses.
bool isMissingPage(const siginfo_t &signal)
{
    return signal.si_code == BUS_ADRERR || signal.si_code == BUS_OBJERR;
}

// Maps an empty page over the missing one; the thread then continues. Such pages share memory as
// long as they are only read, and disappear with the file's mapping.
bool replacePage(void *address)
{
    void *const page =
        static_cast<char *>(address) - (reinterpret_cast<std::uintptr_t>(address) & (pageSize - 1));
    return mmap(page, pageSize, PROT_READ, MAP_PRIVATE | MAP_ANONYMOUS | MAP_FIXED, -1, 0) !=
           MAP_FAILED;
}

void onMissingPage(int, siginfo_t *signal, void *)
{
    const int error = errno;
    // The main thread never reads weights.
    if (s_guards > 0 && isMissingPage(*signal) && !pthread_equal(pthread_self(), mainThread) &&
        replacePage(signal->si_addr)) {
        ++s_missed;
    } else {
        // Not ours: the access is repeated and handled by the earlier handler.
        sigaction(SIGBUS, &s_before, nullptr);
    }
    errno = error;
}

void installOnce()
{
    [[maybe_unused]] static const bool installed = [] {
        struct sigaction action = {};
        action.sa_sigaction = onMissingPage;
        action.sa_flags = SA_SIGINFO;
        sigemptyset(&action.sa_mask);
        return sigaction(SIGBUS, &action, &s_before) == 0;
    }();
}
} // namespace

MappedFileGuard::MappedFileGuard() : m_missedBefore(s_missed)
{
    installOnce();
    ++s_guards;
}

MappedFileGuard::~MappedFileGuard()
{
    --s_guards;
}

bool MappedFileGuard::hasMissed() const
{
    return s_missed != m_missedBefore;
}
