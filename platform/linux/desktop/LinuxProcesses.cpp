#include "platform/linux/desktop/LinuxProcesses.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <array>
#include <charconv>
#include <climits>
#include <filesystem>
#include <string>
#include <system_error>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {
// A browser's helpers are its children or grandchildren.
constexpr int maxGenerations = 8;

// Major device numbers: masters of pseudo terminals, then their slaves, the console and serial
// terminals.
bool isTerminal(dev_t device)
{
    constexpr unsigned console = 4;
    constexpr unsigned firstPseudo = 136;
    constexpr unsigned lastPseudo = 143;
    const unsigned kind = major(device);
    return kind == console || (kind >= firstPseudo && kind <= lastPseudo);
}

// The table has the kernel's encoding of a device: the twelve bits of the major number are in the
// middle.
TerminalId terminal(dev_t device)
{
    const quint64 low = minor(device) & 0xff;
    const quint64 high = minor(device) & ~quint64{0xff};
    return TerminalId{static_cast<qint64>(low | (quint64{major(device)} << 8) | (high << 12))};
}
} // namespace

LinuxProcesses::LinuxProcesses() : m_folder(u"/proc"_s) {}

QList<ProcessId> LinuxProcesses::all() const
{
    QList<ProcessId> found;
    std::error_code error;
    std::filesystem::directory_iterator entry(QFile::encodeName(m_folder).toStdString(), error);
    for (; !error && entry != std::filesystem::directory_iterator(); entry.increment(error)) {
        const std::string &path = entry->path().native();
        const size_t name = path.rfind('/') + 1;
        qint64 process = 0;
        const auto [end, problem] =
            std::from_chars(path.data() + name, path.data() + path.size(), process);
        if (problem == std::errc() && end == path.data() + path.size())
            found.append(ProcessId{process});
    }
    return found;
}

// Not by QFileInfo, which reads the link nine times: this is called for all processes at each step.
QString LinuxProcesses::program(ProcessId process) const
{
    std::array<char, PATH_MAX> path{};
    const ssize_t length = ::readlink(QFile::encodeName(entry(process, "exe"_L1)).constData(),
                                      path.data(), path.size());
    return length > 0 ? QFile::decodeName(QByteArray(path.data(), length)) : QString();
}

std::optional<ProcessRecord> LinuxProcesses::record(ProcessId process) const
{
    // "1234 (name) S parent group session terminal foreground …"; the name may hold anything.
    const QByteArray status = read(process, "stat"_L1);
    const QList<QByteArray> fields = status.mid(status.lastIndexOf(')') + 2).split(' ');
    if (fields.size() < 2)
        return std::nullopt;
    ProcessRecord record{.parent = ProcessId{fields[1].toLongLong()},
                         .session = ProcessId{fields.value(3).toLongLong()}};
    if (const qint64 controlling = fields.value(4).toLongLong(); controlling != 0)
        record.terminal = TerminalId{controlling};
    record.isInForeground = record.terminal && fields.value(2) == fields.value(5);
    struct stat input = {};
    if (::stat(QFile::encodeName(entry(process, "fd/0"_L1)).constData(), &input) == 0 &&
        S_ISCHR(input.st_mode) && isTerminal(input.st_rdev))
        record.input = terminal(input.st_rdev);
    return record;
}

QByteArray LinuxProcesses::commandLine(ProcessId process) const
{
    return read(process, "cmdline"_L1);
}

bool LinuxProcesses::hasEnded(ProcessId process) const
{
    const QByteArray status = read(process, "stat"_L1);
    const char state = status.mid(status.lastIndexOf(')') + 2, 1).append('X').front();
    return status.isEmpty() || state == 'Z' || state == 'X';
}

ProcessId LinuxProcesses::session(ProcessId process) const
{
    return record(process).value_or(ProcessRecord()).session;
}

bool LinuxProcesses::areSameApplication(ProcessId one, ProcessId other) const
{
    const QByteArray instance = sandbox(one);
    if (!instance.isEmpty() && instance == sandbox(other))
        return true;
    const QString same = program(one);
    return !same.isEmpty() && same == program(other) &&
           (descendsFrom(one, other) || descendsFrom(other, one));
}

QByteArray LinuxProcesses::sandbox(ProcessId process) const
{
    const QByteArray key = "instance-id=";
    for (const QByteArray &line : read(process, "root/.flatpak-info"_L1).split('\n')) {
        if (line.startsWith(key))
            return line.mid(key.size());
    }
    return {};
}

bool LinuxProcesses::descendsFrom(ProcessId process, ProcessId ancestor) const
{
    for (int i = 0; i < maxGenerations && process > ProcessId{1}; ++i) {
        process = record(process).value_or(ProcessRecord()).parent;
        if (process == ancestor)
            return true;
    }
    return false;
}

// Some of these paths are under the control of the process, which may put a named pipe or an
// endless file there.
QByteArray LinuxProcesses::read(ProcessId process, QLatin1StringView name) const
{
    constexpr qint64 mostBytes = 64LL * 1024;
    const int descriptor = ::open(QFile::encodeName(entry(process, name)).constData(),
                                  O_RDONLY | O_NONBLOCK | O_NOFOLLOW | O_CLOEXEC);
    if (descriptor < 0)
        return {};
    struct stat status = {};
    QFile file;
    if (::fstat(descriptor, &status) != 0 || !S_ISREG(status.st_mode) ||
        !file.open(descriptor, QIODevice::ReadOnly, QFileDevice::AutoCloseHandle)) {
        ::close(descriptor);
        return {};
    }
    return file.read(mostBytes);
}

std::set<ProcessId> ourProcesses()
{
    static OwnProcesses own;
    const LinuxProcesses processes;
    const ProcessId self{::getpid()};
    static const QString program = QFileInfo(processes.program(self)).fileName();
    return own.find(processes, self, {program, u"quillon-keyboard"_s});
}

QString LinuxProcesses::entry(ProcessId process, QLatin1StringView name) const
{
    return m_folder + u'/' + QString::number(static_cast<qint64>(process)) + u'/' + name;
}
