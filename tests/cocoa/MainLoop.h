#pragma once

#include "FakeCocoa.h"

#include <QTimer>

/// Runs the system's loop inside Qt's, like the program.
class MainLoop
{
public:
    MainLoop()
    {
        QObject::connect(&m_timer, &QTimer::timeout, &FakeCocoa::turn);
        m_timer.start(1);
    }

private:
    QTimer m_timer;
};
