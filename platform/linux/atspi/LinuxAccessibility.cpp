#include "platform/linux/Capabilities.h"

#include "base/WorkQueue.h"
#include "platform/Accessibility.h"
#include "platform/linux/atspi/AtSpiBus.h"
#include "platform/linux/atspi/AtSpiTree.h"

#include <algorithm>
#include <thread>

namespace {
using std::chrono::milliseconds;
using std::chrono::steady_clock;

// A session bus answers in a few milliseconds; the first call starts the accessibility bus.
constexpr milliseconds answerLimit{700};

// The accessibility bus may have to be started, and running applications connect to it a moment
// later. Waits for that, so that the next action finds them.
constexpr milliseconds startLimit{1500};
constexpr milliseconds lookInterval{20};
constexpr milliseconds arrival{300};

// These functions have timeouts of their own, except for connecting to a stopped bus.
template <typename Result>
std::optional<Result> ask(WorkQueue &queue, Result (*question)(PrivateBus::Deadline))
{
    return queue.call(
        [question, deadline = steady_clock::now() + answerLimit] { return question(deadline); },
        answerLimit);
}

// Accessibility over AT-SPI. Trusted means that its bus answers and is enabled, which any program
// may do.
class LinuxAccessibility final : public Accessibility
{
public:
    bool isTrusted() override;
    void requestTrust() override;
    /// The tree must be destroyed before this.
    std::unique_ptr<AccessibleTree> open(ProcessId application,
                                         std::chrono::milliseconds limit) override;

private:
    WorkQueue m_queue{"atspi.bus"};
    AtSpiPeers m_peers;
};
} // namespace

bool LinuxAccessibility::isTrusted()
{
    return ask(m_queue, &AtSpiBus::isEnabled).value_or(false);
}

void LinuxAccessibility::requestTrust()
{
    (void)m_queue.call(
        [] {
            const auto deadline = steady_clock::now() + startLimit;
            if (!AtSpiBus::enable(deadline))
                return false;
            while (!AtSpiBus::isEnabled(deadline)) {
                if (steady_clock::now() >= deadline)
                    return false;
                std::this_thread::sleep_for(lookInterval);
            }
            std::this_thread::sleep_for(arrival);
            return true;
        },
        startLimit + arrival);
}

std::unique_ptr<AccessibleTree> LinuxAccessibility::open(ProcessId application, milliseconds limit)
{
    const auto deadline = steady_clock::now() + limit;
    return std::make_unique<AtSpiTree>(ask(m_queue, &AtSpiBus::connect).value_or(nullptr), m_peers,
                                       application, deadline);
}

std::unique_ptr<Accessibility> makeLinuxAccessibility()
{
    return std::make_unique<LinuxAccessibility>();
}
