#include "platform/linux/Kinship.h"

#include <QFile>
#include <QFileInfo>

#include <optional>

namespace {
// A browser's helpers are its children or grandchildren.
constexpr int maxGenerations = 8;

QString entry(const QString &table, ProcessId process, QLatin1StringView name)
{
    return table + u'/' + QString::number(static_cast<qint64>(process)) + u'/' + name;
}

QByteArray content(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
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

bool Kinship::isOneApplication(ProcessId one, ProcessId other, const QString &table)
{
    const QByteArray instance = sandbox(table, one);
    if (!instance.isEmpty() && instance == sandbox(table, other))
        return true;
    const QString same = program(table, one);
    return !same.isEmpty() && same == program(table, other) &&
           (descendsFrom(table, one, other) || descendsFrom(table, other, one));
}
