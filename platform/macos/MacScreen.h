#pragma once

#include "platform/Screen.h"

/// The screen according to the window server.
class MacScreen final : public Screen
{
public:
    std::optional<QList<WindowInfo>> windows() override;
    QFuture<void> capture(const std::filesystem::path &file) override;
};
