#include "platform/linux/desktop/ProcessTable.h"

#include <QFile>
#include <QFileInfo>

#include <optional>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {
// A browser's helpers are its children or grandchildren.
constexpr int maxGenerations = 8;

QString entry(const QString &table, ProcessId process, QLatin1StringView name)
{
    return table + u'/' + QString::number(static_cast<qint64>(process)) + u'/' + name;
}

// Some of these files lie where the process itself may put anything: a pipe that nobody writes to,
// or a file without an end.
QByteArray content(const QString &path)
{
    constexpr qint64 mostBytes = 64LL * 1024;
    const int descriptor =
        ::open(QFile::encodeName(path).constData(), O_RDONLY | O_NONBLOCK | O_NOFOLLOW | O_CLOEXEC);
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

// "1234 (name) S 1 …"; the name may hold anything.
ProcessId parent(const QString &table, ProcessId process)
{
    const QByteArray status = content(entry(table, process, QLatin1StringView("stat")));
    const QList<QByteArray> fields = status.mid(status.lastIndexOf(')') + 2).split(' ');
    return ProcessId{fields.value(1).toLongLong()};
}

bool descendsFrom(const QString &table, ProcessId process, ProcessId ancestor)
{
    for (int i = 0; i < maxGenerations && process > ProcessId{1}; ++i) {
        process = parent(table, process);
        if (process == ancestor)
            return true;
    }
    return false;
}

QString program(const QString &table, ProcessId process)
{
    return QFileInfo(entry(table, process, QLatin1StringView("exe"))).symLinkTarget();
}

// Flatpak tells each process which instance it runs in, also the one that passes D-Bus on.
QByteArray sandbox(const QString &table, ProcessId process)
{
    const QByteArray key = "instance-id=";
    for (const QByteArray &line :
         content(entry(table, process, QLatin1StringView("root/.flatpak-info"))).split('\n')) {
        if (line.startsWith(key))
            return line.mid(key.size());
    }
    return {};
}
} // namespace

bool ProcessTable::isSameApplication(ProcessId one, ProcessId other, const QString &table)
{
    const QByteArray instance = sandbox(table, one);
    if (!instance.isEmpty() && instance == sandbox(table, other))
        return true;
    const QString same = program(table, one);
    return !same.isEmpty() && same == program(table, other) &&
           (descendsFrom(table, one, other) || descendsFrom(table, other, one));
}
