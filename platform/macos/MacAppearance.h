#pragma once

#include "platform/Appearance.h"

/// The appearance according to AppKit.
class MacAppearance final : public Appearance
{
public:
    Look look() override;
    void observe(std::function<void()> changed) override;
    QByteArray symbol(const QString &name, int side) override;
};
