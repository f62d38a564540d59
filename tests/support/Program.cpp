#include "tests/support/Program.h"

#include "tests/support/NoNetwork.h"

#include <QDeadlineTimer>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <vector>

#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

namespace {
constexpr int statusOfSignal = 128;
constexpr int cannotStart = 127;

std::vector<char *> pointers(std::vector<QByteArray> &texts)
{
    std::vector<char *> result;
    result.reserve(texts.size() + 1);
    for (QByteArray &text : texts)
        result.push_back(text.data());
    result.push_back(nullptr);
    return result;
}

int openTerminal(int &otherEnd)
{
    const int master = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
    grantpt(master);
    unlockpt(master);
    otherEnd = open(ptsname(master), O_RDWR | O_NOCTTY | O_CLOEXEC);
    // No conversion of line ends, and no echo, so that the output is only the program's.
    termios settings{};
    tcgetattr(otherEnd, &settings);
    settings.c_oflag &= ~static_cast<tcflag_t>(OPOST);
    settings.c_lflag &= ~static_cast<tcflag_t>(ECHO);
    tcsetattr(otherEnd, TCSANOW, &settings);
    return master;
}
} // namespace

Program::Program(const QString &path, const QStringList &arguments, const Options &options)
{
    std::vector<QByteArray> argumentTexts{path.toUtf8()};
    for (const QString &argument : arguments)
        argumentTexts.push_back(argument.toUtf8());
    std::vector<QByteArray> environmentTexts;
    for (const auto &[name, value] : options.environment.asKeyValueRange())
        environmentTexts.push_back((name + u'=' + value).toUtf8());
    const std::vector<char *> argv = pointers(argumentTexts);
    const std::vector<char *> envp = pointers(environmentTexts);

    std::array<int, 3> streams{-1, -1, -1};
    if (options.input == Input::terminal) {
        m_inputEnd = openTerminal(streams[0]);
        m_outputEnd = dup(m_inputEnd);
        streams[1] = streams[2] = streams[0];
        type(options.typedAhead);
    } else {
        std::array<int, 2> ends{};
        streams[0] = open("/dev/null", O_RDONLY | O_CLOEXEC);
        if (pipe(ends.data()) == 0) {
            m_outputEnd = ends[0];
            streams[1] = ends[1];
        }
        if (pipe(ends.data()) == 0) {
            m_errorsEnd = ends[0];
            streams[2] = ends[1];
        }
        fcntl(m_outputEnd, F_SETFD, FD_CLOEXEC);
        fcntl(m_errorsEnd, F_SETFD, FD_CLOEXEC);
    }

    m_pid = fork();
    if (m_pid == 0) {
        setsid();
        // The tests themselves may ignore these signals.
        std::signal(SIGINT, SIG_DFL);
        std::signal(SIGHUP, options.isNohup ? SIG_IGN : SIG_DFL);
        if (options.input == Input::terminal)
            ioctl(streams[0], TIOCSCTTY, 0);
        for (int i = 0; i < 3; ++i)
            dup2(streams[static_cast<std::size_t>(i)], i);
        if (!options.hasNetwork && !forbidNetwork())
            _exit(cannotStart);
        execve(argv[0], argv.data(), envp.data());
        _exit(cannotStart);
    }
    close(streams[0]);
    if (options.input != Input::terminal) {
        close(streams[1]);
        close(streams[2]);
    }
    for (const int end : {m_outputEnd, m_errorsEnd}) {
        if (end >= 0)
            fcntl(end, F_SETFL, O_NONBLOCK);
    }
}

Program::~Program()
{
    kill(-m_pid, SIGKILL);
    if (!m_status)
        waitpid(m_pid, nullptr, 0);
    for (const int end : {m_inputEnd, m_outputEnd, m_errorsEnd}) {
        if (end >= 0)
            close(end);
    }
}

void Program::drain(int &descriptor, QByteArray &into)
{
    std::array<char, 4096> buffer{};
    ssize_t length = 0;
    while ((length = read(descriptor, buffer.data(), buffer.size())) > 0)
        into.append(buffer.data(), length);
    // If the other end is closed, reading a terminal fails, and reading a pipe returns nothing.
    if (length == 0 || (errno != EAGAIN && errno != EINTR)) {
        close(descriptor);
        descriptor = -1;
    }
}

bool Program::readSome(int milliseconds)
{
    std::array<pollfd, 2> ends{pollfd{m_outputEnd, POLLIN, 0}, pollfd{m_errorsEnd, POLLIN, 0}};
    if (m_outputEnd < 0 && m_errorsEnd < 0)
        return false;
    poll(ends.data(), ends.size(), milliseconds);
    if (ends[0].revents)
        drain(m_outputEnd, m_output);
    if (ends[1].revents)
        drain(m_errorsEnd, m_errors);
    return true;
}

bool Program::waitForOutput(const QByteArray &text, int milliseconds)
{
    const QDeadlineTimer deadline(milliseconds);
    while (!m_output.contains(text)) {
        if (deadline.hasExpired() || !readSome(static_cast<int>(deadline.remainingTime())))
            return m_output.contains(text);
    }
    return true;
}

std::optional<int> Program::waitForExit(int milliseconds)
{
    const QDeadlineTimer deadline(milliseconds);
    while (!m_status && !deadline.hasExpired()) {
        constexpr int moment = 10;
        if (!readSome(moment))
            poll(nullptr, 0, 1);
        int status = 0;
        if (waitpid(m_pid, &status, WNOHANG) == m_pid) {
            m_status =
                WIFSIGNALED(status) ? statusOfSignal + WTERMSIG(status) : WEXITSTATUS(status);
        }
    }
    if (m_outputEnd >= 0)
        drain(m_outputEnd, m_output);
    if (m_errorsEnd >= 0)
        drain(m_errorsEnd, m_errors);
    return m_status;
}

void Program::answer(const QByteArray &keys)
{
    constexpr useconds_t untilItListens = 450'000;
    for (bool isAsked = true; isAsked;) {
        usleep(untilItListens);
        const qsizetype before = m_output.size();
        type(keys);
        const QDeadlineTimer limit(eventually);
        while (m_output.size() == before && !limit.hasExpired())
            (void)readSome(100);
        (void)readSome(100);
        isAsked = m_output.mid(before).startsWith("\n  ? ");
    }
}

void Program::type(const QByteArray &keys) const
{
    [[maybe_unused]] const ssize_t written =
        write(m_inputEnd, keys.constData(), static_cast<std::size_t>(keys.size()));
}

void Program::signal(int number) const
{
    kill(m_pid, number);
}
