#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>
#include <utility>

/// A thread for calls that may never return, such as those to a server that hangs. The caller waits
/// until a timeout; further calls fail at once until the abandoned one has returned. The destructor
/// detaches a thread that is still inside a call.
class BoundedWorker
{
public:
    BoundedWorker() = default;
    ~BoundedWorker();
    BoundedWorker(const BoundedWorker &) = delete;
    BoundedWorker &operator=(const BoundedWorker &) = delete;

    /// What the work returns; nothing if it takes longer than the limit. The work may outlive this
    /// call and the worker, so it must hold what it needs by value. It must not throw.
    template <typename Work>
    [[nodiscard]] auto run(Work work, std::chrono::milliseconds limit)
        -> std::optional<decltype(work())>
    {
        using Result = std::optional<decltype(work())>;
        const auto result = std::make_shared<Result>();
        if (!perform([work = std::move(work), result] { *result = work(); }, limit))
            return std::nullopt;
        return std::move(*result);
    }

private:
    struct Shared
    {
        std::mutex lock;
        std::condition_variable changed;
        std::function<void()> work; ///< Pending or running; empty when idle.
        bool ends = false;
    };

    [[nodiscard]] bool start();
    [[nodiscard]] bool perform(std::function<void()> work, std::chrono::milliseconds limit);

    std::shared_ptr<Shared> m_shared = std::make_shared<Shared>();
    std::thread m_thread;
};
