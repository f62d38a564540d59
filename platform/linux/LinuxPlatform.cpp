#include "platform/Platform.h"

std::unique_ptr<Platform> Platform::makeNative()
{
    return nullptr;
}
