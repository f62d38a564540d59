#pragma once

#include "platform/Instance.h"

/// One process per bundle. The system itself sees to that for whoever opens the application; a
/// start of the program inside the bundle speaks to the running one by notifications.
class MacInstance final : public Instance
{
public:
    bool claim(std::function<void(Request)> received) override;
    Answer handOver(Request request) override;
};
