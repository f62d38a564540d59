#pragma once

#include <functional>
#include <stdexcept>

/// Thrown through the library's frames in place of its abort; the library's own functions turn it
/// into an ordinary failure, or it arrives at the caller.
class LibraryAbort : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

/// The library ends the process when an assertion of its own fails, and a damaged model file can
/// make it fail. While a guard lives, an abort in a call that its thread has made to the library
/// ends that call instead. Guards nest, the innermost counts; each lives on the stack of one
/// thread.
///
/// Outside of all guards the library does what it always does.
class AbortGuard
{
public:
    /// For calls that stay on this thread: an abort is thrown as LibraryAbort.
    AbortGuard() noexcept;

    /// For calls that compute on the library's own threads too, from which nothing can be thrown.
    /// An abort on any of them calls lost once, and neither that thread nor the guard's goes on
    /// ever again: both are parked with all that they hold. The function must outlive the guard.
    /// The threads are all that the call may compute on, the guard's own included.
    AbortGuard(const std::function<void()> &lost, int threads);

    ~AbortGuard();
    AbortGuard(const AbortGuard &) = delete;
    AbortGuard &operator=(const AbortGuard &) = delete;

    /// To be set as the library's abort callback.
    static void onAbort(const char *message);

private:
    static bool isLost(const char *message);
    static bool isStraggler(const char *message);
    void lose(const char *message, int stragglers);

    AbortGuard *const m_outer;
    const std::function<void()> *const m_lost = nullptr;
    const int m_threads = 1;
    bool m_isLost = false;
};
