#include "models/PartialFile.h"

#include "base/FlushToDisk.h"
#include "models/TransferError.h"

#include <QDir>
#include <QRandomGenerator>

#include <cerrno>
#include <filesystem>
#include <system_error>

// POSIX, on both supported systems. Qt has no counterpart.
#include <sys/file.h>

namespace {
constexpr QLatin1String suffix(".quillon-part");

[[noreturn]] void fail(const std::error_code &error)
{
    throw TransferError(QString::fromLocal8Bit(error.message().c_str()));
}

// The system releases the lock when the process ends in any way. So it tells a running transfer
// from a dead one, which a process id in a file could not: ids are reused, and a zombie has one.
bool lock(const QFile &file)
{
    return ::flock(file.handle(), LOCK_EX | LOCK_NB) == 0;
}
} // namespace

PartialFile::~PartialFile()
{
    discard();
}

void PartialFile::open(const QString &folder)
{
    discard();
    while (!create(folder)) {
    }
}

bool PartialFile::create(const QString &folder)
{
    m_file.setFileName(newPath(folder));
    if (!m_file.open(QIODevice::WriteOnly | QIODevice::NewOnly | QIODevice::Unbuffered)) {
        if (m_file.exists())
            return false;
        throw TransferError(m_file.errorString());
    }
    // Another process may have swept the folder between the two calls. On a file system without
    // locks, nothing is swept.
    const bool locked = lock(m_file);
    if ((!locked && errno == EWOULDBLOCK) || !m_file.exists()) {
        discard();
        return false;
    }
    return true;
}

void PartialFile::write(const char *data, qint64 size)
{
    while (size > 0) {
        const qint64 written = m_file.write(data, size);
        if (written <= 0)
            throw TransferError(m_file.errorString());
        data += written;
        size -= written;
    }
}

void PartialFile::flush()
{
    try {
        flushToDisk(m_file.handle());
    } catch (const std::system_error &error) {
        fail(error.code());
    }
}

void PartialFile::moveTo(const QString &path)
{
    const std::filesystem::path from = QFile::encodeName(m_file.fileName()).constData();
    const std::filesystem::path to = QFile::encodeName(path).constData();
    std::error_code error;
    std::filesystem::rename(from, to, error);
    std::error_code ignored;
    if (error && std::filesystem::is_directory(std::filesystem::symlink_status(to, ignored))) {
        std::filesystem::remove_all(to, ignored);
        std::filesystem::rename(from, to, error);
    }
    if (error)
        fail(error);
    m_file.close();
}

void PartialFile::discard()
{
    if (m_file.isOpen())
        m_file.remove();
}

QString PartialFile::newPath(const QString &folder)
{
    const QString name = QString::number(QRandomGenerator::system()->generate64(), 16) + suffix;
    return QDir(folder).filePath(name);
}

bool PartialFile::isName(const QString &name)
{
    return name.endsWith(suffix);
}

void PartialFile::sweep(const QString &folder)
{
    // No links: their targets are not our files.
    const QDir::Filters plainFiles = QDir::Files | QDir::Hidden | QDir::NoSymLinks;
    const QStringList names = QDir(folder).entryList({u'*' + suffix}, plainFiles);
    for (const QString &name : names) {
        QFile file(QDir(folder).filePath(name));
        // By name, since QFile::remove() closes the file first and releases the lock.
        if (file.open(QIODevice::ReadWrite | QIODevice::ExistingOnly) && lock(file))
            QFile::remove(file.fileName());
    }
}
