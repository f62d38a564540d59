#pragma once

#include <clocale>

/// Whoever makes an application object has the C library follow the user's language, down to the
/// decimal point. What a model or a model file says is read with a plain one, and languages with
/// one of several bytes would break it. Call right after the object is made, before there are any
/// other threads.
inline void keepNumbersPlain()
{
    std::setlocale(LC_NUMERIC, "C");
}
