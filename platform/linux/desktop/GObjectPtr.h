#pragma once

#include <gio/gio.h>

#include <memory>

struct GObjectUnref
{
    void operator()(void *object) const { g_object_unref(object); }
};
/// Owns a reference to a GObject.
template <typename T>
using GObjectPtr = std::unique_ptr<T, GObjectUnref>;

struct GErrorFree
{
    void operator()(GError *error) const { g_error_free(error); }
};
using GErrorPtr = std::unique_ptr<GError, GErrorFree>;

struct GFree
{
    void operator()(void *memory) const { g_free(memory); }
};
using GStringPtr = std::unique_ptr<char, GFree>;
