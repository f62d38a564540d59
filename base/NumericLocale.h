#pragma once

#include <clocale>

/// QCoreApplication switches the C library to the user's locale, including its decimal point.
/// Numbers in a model's reply and in a model file always have a dot, and a decimal point of several
/// bytes breaks their parsers. Call this right after the application object is created, before
/// other threads start.
inline void usePlainNumbers()
{
    std::setlocale(LC_NUMERIC, "C");
}
