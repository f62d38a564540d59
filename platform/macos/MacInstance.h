#pragma once

#include "platform/Instance.h"

/// One process per bundle. The system itself sees to that when the application is opened; a start
/// of the program inside the bundle speaks to the running one by notifications. Those have no
/// receipt, so each request is answered by another one.
class MacInstance final : public Instance
{
public:
    /// As a program that has only just been started on a busy machine needs.
    static constexpr double answerLimit = 10; // Seconds.

    /// Whether another process of this program shows the panel.
    [[nodiscard]] static bool runsElsewhere();

    /// An application object would give this process an icon in the Dock.
    [[nodiscard]] bool needsApplication() const override { return false; }
    bool claim(std::function<void(Request)> received) override;
    Answer handOver(Request request) override;
};
