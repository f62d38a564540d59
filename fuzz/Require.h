#pragma once

#include <cstdio>
#include <cstdlib>

/// Ends the program, which the fuzzer reports with its input, if a promise does not hold.
inline void require(bool holds, const char *what)
{
    if (holds)
        return;
    std::fprintf(stderr, "Broken promise: %s\n", what);
    std::abort();
}
