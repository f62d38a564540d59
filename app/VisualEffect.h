#pragma once

#include "platform/Shell.h"

/// The platform's blurred, translucent material behind a window's contents. Main thread.
class VisualEffect
{
public:
    explicit VisualEffect(Shell::Material material) : m_material(material) {}

    void make(NativeWindow &window) const;

private:
    Shell::Material m_material;
};
