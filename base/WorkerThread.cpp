#include "base/WorkerThread.h"

#include <chrono>
#include <thread>

void WorkerThread::park()
{
    while (true)
        std::this_thread::sleep_for(std::chrono::hours(24));
}
