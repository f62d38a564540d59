#include "platform/Platform.h"

#include <QCoreApplication>

namespace {
Platform *s_override = nullptr;
std::unique_ptr<Platform> s_native;
} // namespace

Platform &Platform::current()
{
    if (s_override)
        return *s_override;
    if (!s_native) {
        s_native = makeNative();
        // Its connections to the desktop need the application to be given up in good order.
        qAddPostRoutine([] { s_native.reset(); });
    }
    return *s_native;
}

Platform::Override::Override(Platform &replacement)
{
    Q_ASSERT(!s_override);
    s_override = &replacement;
}

Platform::Override::~Override()
{
    s_override = nullptr;
}
