#pragma once

#include <QDir>
#include <QFile>
#include <QList>

#include <sys/types.h>
#include <unistd.h>

using Qt::StringLiterals::operator""_s;

/// The running child processes of this one.
inline QList<pid_t> ownProcesses()
{
    QList<pid_t> found;
    for (const QString &entry : QDir(u"/proc"_s).entryList(QDir::Dirs)) {
        QFile file(u"/proc/"_s + entry + u"/stat"_s);
        if (entry.toInt() <= 0 || !file.open(QIODevice::ReadOnly))
            continue;
        const QByteArray stat = file.readAll();
        const QList<QByteArray> fields = stat.mid(stat.lastIndexOf(')') + 2).split(' ');
        if (fields.value(1).toInt() == getpid() && fields.value(0) != "Z")
            found.append(entry.toInt());
    }
    return found;
}
