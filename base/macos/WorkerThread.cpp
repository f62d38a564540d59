#include "base/WorkerThread.h"

#include <pthread.h>
#include <pthread/qos.h>

void WorkerThread::begin(const char *name)
{
    pthread_setname_np(name);
    pthread_set_qos_class_self_np(QOS_CLASS_USER_INITIATED, 0);
}
