#pragma once

#include <QDir>
#include <QFile>
#include <QList>

#include <sys/types.h>
#include <unistd.h>

/// The processes that this one has started and that still run.
inline QList<pid_t> ownProcesses()
{
    QList<pid_t> found;
    for (const QString &entry : QDir(QStringLiteral("/proc")).entryList(QDir::Dirs)) {
        QFile file(QStringLiteral("/proc/") + entry + QStringLiteral("/stat"));
        if (entry.toInt() <= 0 || !file.open(QIODevice::ReadOnly))
            continue;
        const QByteArray stat = file.readAll();
        const QList<QByteArray> fields = stat.mid(stat.lastIndexOf(')') + 2).split(' ');
        if (fields.value(1).toInt() == getpid() && fields.value(0) != "Z")
            found.append(entry.toInt());
    }
    return found;
}
