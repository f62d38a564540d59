#pragma once

#include "base/WorkQueue.h"

#include <future>

/// A job that blocks until it is released, and tells when it has begun. Must outlive the job.
struct HeldJob
{
    std::promise<void> begun;
    std::promise<void> release;

    WorkQueue::Job job()
    {
        return {[this] {
            begun.set_value();
            release.get_future().wait();
        }};
    }
    void waitUntilBegun() { begun.get_future().wait(); }
    void open() { release.set_value(); }
};
