#pragma once

#include <functional>

/// Keeps the program to one process per desktop, and carries what another start of it asks for to
/// the one that runs. Main thread, with a QCoreApplication.
class Instance
{
public:
    enum class Request {
        open,   ///< Show the panel; where it is shown already, bring it to the front.
        toggle, ///< What the hot key does.
    };

    enum class Answer {
        taken,  ///< The running program has it.
        nobody, ///< None runs (any more).
        silent, ///< One runs and does not answer within answerLimit.
    };

    virtual ~Instance() = default;

    /// Whether the calls below need an application object. Without one a start that only hands its
    /// request over does not show itself on the desktop.
    [[nodiscard]] virtual bool needsApplication() const { return true; }

    /// Makes this process the one that runs, unless another one is; then false. Requests of later
    /// starts arrive on the main thread. A desktop that cannot tell lets every process run. Waits
    /// for the desktop's answer, for a few seconds at most.
    [[nodiscard]] virtual bool claim(std::function<void(Request)> received) = 0;

    /// Hands a request to the process that runs. May wait for a few seconds: a program that has
    /// only just been started on a busy machine answers late.
    [[nodiscard]] virtual Answer handOver(Request request) = 0;
};
