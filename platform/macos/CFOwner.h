#pragma once

#include <CoreFoundation/CoreFoundation.h>

#include <memory>
#include <type_traits>

struct CFReleaser
{
    void operator()(CFTypeRef object) const { CFRelease(object); }
};
/// Owns a reference that a Create or Copy function returned.
template <typename Ref>
using CFOwner = std::unique_ptr<std::remove_pointer_t<Ref>, CFReleaser>;
