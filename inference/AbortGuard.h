#pragma once

#include <functional>
#include <stdexcept>

/// Thrown through llama.cpp's frames instead of aborting; its functions turn it into an ordinary
/// failure, or it reaches the caller.
class LibraryAbort : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

/// llama.cpp aborts the process if one of its assertions fails, which a damaged model file can
/// cause. While a guard exists, an abort during a call that its thread has made to the library ends
/// that call instead. Guards can be nested, the innermost one is used; each is on the stack of one
/// thread.
///
/// Without a guard, the library aborts the process as usual.
class AbortGuard
{
public:
    /// For calls that run on this thread only: an abort becomes a LibraryAbort exception.
    AbortGuard() noexcept;

    /// For calls that also compute on the library's own threads, from which nothing can be thrown.
    /// An abort on any of them calls lost once; that thread and the guard's thread are then parked
    /// for ever, with all that they own. The function must outlive the guard. threads is the number
    /// of threads that the call may compute on, including the guard's.
    AbortGuard(const std::function<void()> &lost, int threads);

    ~AbortGuard();
    AbortGuard(const AbortGuard &) = delete;
    AbortGuard &operator=(const AbortGuard &) = delete;

    /// The library's abort callback.
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
