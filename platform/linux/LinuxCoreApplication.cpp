#include "platform/CoreApplication.h"

#include <QCoreApplication>

QCoreApplication *makeCoreApplication(int &argc, char **argv)
{
    return new QCoreApplication(argc, argv);
}
