#pragma once

#include <cstdlib>
#include <memory>

struct XcbFree
{
    void operator()(void *memory) const { std::free(memory); }
};
/// Owns what xcb returned: a reply or an error.
template <typename T>
using XcbReply = std::unique_ptr<T, XcbFree>;
