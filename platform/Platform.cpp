#include "platform/Platform.h"

#include <QtGlobal>

namespace {
Platform *s_override = nullptr;
}

Platform &Platform::current()
{
    if (s_override)
        return *s_override;
    static const std::unique_ptr<Platform> native = makeNative();
    return *native;
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
