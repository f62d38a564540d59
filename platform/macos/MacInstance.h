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

    /// Sets this process's answer to hasHotKey requests.
    explicit MacInstance(std::function<bool()> ownsHotKey = [] { return false; });

    /// Whether another process of this program shows the panel.
    [[nodiscard]] static bool runsElsewhere();

    /// Whether that process has the hot key; false also if it does not answer. Blocks for at most
    /// keyAnswerLimit.
    [[nodiscard]] static bool runningOwnsHotKey();
    static constexpr double keyAnswerLimit = 2; // seconds

    /// An application object would add an icon to the Dock.
    [[nodiscard]] bool needsApplication() const override { return false; }
    bool claim(std::function<void(Request)> received) override;
    Answer handOver(Request request) override;
    [[nodiscard]] LoginItem loginItem(const QString &program,
                                      const QString &argument) const override;

private:
    std::function<bool()> m_ownsHotKey;
};
