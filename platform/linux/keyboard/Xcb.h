#pragma once

#include "platform/linux/x11/Xcb.h"

#include <xcb/xcb.h>
#include <xcb/xinput.h>
#include <xcb/xtest.h>
// One of its fields bears the name of a keyword.
#define explicit isExplicit
#include <xcb/xkb.h>
#undef explicit

#include <stdexcept>
#include <string>

/// What went wrong, as one user-facing sentence.
class Failure : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

/// Passes an answer on; a Failure where there is none, since every question that we ask has one as
/// long as there is a server.
template <typename T>
[[nodiscard]] XcbReply<T> answered(T *reply)
{
    if (!reply)
        throw Failure("The X server went away.");
    return XcbReply<T>(reply);
}
