#pragma once

#include <xcb/xcb.h>
#include <xcb/xinput.h>
#include <xcb/xtest.h>
// One of its fields bears the name of a keyword.
#define explicit isExplicit
#include <xcb/xkb.h>
#undef explicit

#include <cstdlib>
#include <memory>
#include <stdexcept>
#include <string>

struct Freed
{
    void operator()(void *memory) const { std::free(memory); }
};
/// What the server answers, to be freed by us.
template <typename T>
using Reply = std::unique_ptr<T, Freed>;

/// What went wrong, as one user-facing sentence.
class Failure : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

/// Passes an answer on; a Failure where there is none, since every question that we ask has one as
/// long as there is a server.
template <typename T>
[[nodiscard]] Reply<T> answered(T *reply)
{
    if (!reply)
        throw Failure("The X server went away.");
    return Reply<T>(reply);
}
