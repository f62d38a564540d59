#pragma once

#include "FakeCocoa.h"

#include <QTimer>

/// Turns the system's loop inside Qt's, as the program has it.
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
