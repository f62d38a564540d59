#include "app/VisualEffect.h"

#include "platform/Platform.h"

void VisualEffect::make(NativeWindow &window) const
{
    Platform::current().shell().placeMaterialBehind(window, m_material);
}
