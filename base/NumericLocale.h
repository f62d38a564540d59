#pragma once

#include <clocale>

/// An application object makes the C library follow the user's language, down to the decimal point.
/// Numbers in a model's reply and in a model file have a plain point, and a decimal point of
/// several bytes breaks their parsers. Call this right after the application object is made, before
/// there are other threads.
inline void usePlainNumbers()
{
    std::setlocale(LC_NUMERIC, "C");
}
