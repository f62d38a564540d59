#pragma once

#include "platform/Instance.h"

/// One process per bundle. If the application is opened, the system itself ensures that; a start of
/// the executable inside the bundle sends distributed notifications to the running process. These
/// are not acknowledged, so each request is answered by another notification.
class MacInstance final : public Instance
{
public:
    /// Enough for a program that was just started on a busy machine.
    static constexpr double answerLimit = 10; // seconds

    /// Whether another process of this program shows the panel.
    [[nodiscard]] static bool runsElsewhere();

    /// An application object would add an icon to the Dock.
    [[nodiscard]] bool needsApplication() const override { return false; }
    bool claim(std::function<void(Request)> received) override;
    Answer handOver(Request request) override;
};
