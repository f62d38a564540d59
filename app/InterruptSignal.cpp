#include "app/InterruptSignal.h"

#include <array>
#include <csignal>

#include <fcntl.h>
#include <unistd.h>

namespace {
constexpr std::array handledSignals{SIGINT, SIGTERM, SIGHUP};
constexpr int statusOfSignal = 128;

std::array<int, 2> s_pipe{-1, -1};
std::array<struct sigaction, handledSignals.size()> s_before{};
volatile std::sig_atomic_t s_requests = 0;

// Only async-signal-safe calls; the rest happens in the event loop.
void onSignal(int signal)
{
    s_requests = s_requests + 1;
    if (s_requests > 1)
        _exit(statusOfSignal + signal);
    const auto byte = static_cast<unsigned char>(signal);
    [[maybe_unused]] const ssize_t written = write(s_pipe[1], &byte, 1);
}

// A signal that the parent process has set to be ignored, as nohup does, stays ignored.
void handleSignals()
{
    struct sigaction action = {};
    action.sa_handler = onSignal;
    action.sa_flags = SA_RESTART;
    for (std::size_t i = 0; i < handledSignals.size(); ++i) {
        sigaction(handledSignals[i], nullptr, &s_before[i]);
        if (s_before[i].sa_handler != SIG_IGN)
            sigaction(handledSignals[i], &action, nullptr);
    }
}

void leaveSignals()
{
    for (std::size_t i = 0; i < handledSignals.size(); ++i)
        sigaction(handledSignals[i], &s_before[i], nullptr);
}
} // namespace

InterruptSignal::InterruptSignal(QObject *parent) : QObject(parent)
{
    if (pipe(s_pipe.data()) != 0)
        return; // default handling: they end the process
    for (const int end : s_pipe)
        fcntl(end, F_SETFD, FD_CLOEXEC);
    m_notifier = new QSocketNotifier(s_pipe[0], QSocketNotifier::Read, this);
    connect(m_notifier, &QSocketNotifier::activated, this, &InterruptSignal::readPipe);
    s_requests = 0;
    handleSignals();
}

InterruptSignal::~InterruptSignal()
{
    if (!m_notifier)
        return;
    leaveSignals();
    delete m_notifier;
    for (int &end : s_pipe)
        close(std::exchange(end, -1));
}

void InterruptSignal::readPipe()
{
    unsigned char signal = 0;
    if (read(s_pipe[0], &signal, 1) == 1)
        Q_EMIT interrupted(statusOfSignal + signal);
}
