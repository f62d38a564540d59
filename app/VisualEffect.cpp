#include "app/VisualEffect.h"

#include "platform/Platform.h"

void VisualEffect::make(PanelWindow &window) const
{
    Platform::current().shell().layUnder(window, m_material);
}
