#include "base/WorkerThread.h"

#include <pthread.h>

void WorkerThread::begin(const char *name)
{
    pthread_setname_np(pthread_self(), name);
}
