#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>
#include <utility>

/// A thread for calls that may never come back, such as those to a server that hangs. The caller
/// waits for a while and no longer; as long as a call is still out, further ones fail at once. A
/// thread that is stuck when its owner goes is left to itself.
class BoundedWorker
{
public:
    BoundedWorker() = default;
    ~BoundedWorker();
    BoundedWorker(const BoundedWorker &) = delete;
    BoundedWorker &operator=(const BoundedWorker &) = delete;

    /// What the work returns, or nothing where it takes longer than the limit. The work may
    /// outlast the call and the worker, so it holds what it needs by value. It must not throw.
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
        std::function<void()> work; ///< What the thread is to do or does.
        bool ends = false;
    };

    [[nodiscard]] bool start();
    [[nodiscard]] bool perform(std::function<void()> work, std::chrono::milliseconds limit);

    std::shared_ptr<Shared> m_shared = std::make_shared<Shared>();
    std::thread m_thread;
};
