#include "base/AtomicFile.h"

#include "base/FlushToDisk.h"

#include <QFile>
#include <QRandomGenerator>

#include <cstdio>
#include <system_error>

using namespace Qt::StringLiterals;

namespace {
// When a disk gets full, a write is incomplete, and only the next one reports the error.
bool writeAll(QFile &file, const QByteArray &content)
{
    qint64 done = 0;
    while (done < content.size()) {
        const qint64 length = file.write(content.constData() + done, content.size() - done);
        if (length <= 0)
            return false;
        done += length;
    }
    return true;
}

[[noreturn]] void fail(const QString &reason)
{
    throw AtomicFileError(u"The file can't be saved: "_s + reason + u'.');
}
} // namespace

void AtomicFile::write(const std::filesystem::path &path, const QByteArray &content)
{
    // A new file that replaces the item at the path, whatever that is: opening the path itself
    // would follow a link.
    const QString place = QFile::decodeName(QByteArray::fromStdString(path.native()));
    QFile file(
        u"%1.%2"_s.arg(place, QString::number(QRandomGenerator::system()->generate64(), 36)));
    if (!file.open(QIODevice::WriteOnly | QIODevice::NewOnly | QIODevice::Unbuffered))
        fail(file.errorString());
    const auto giveUp = [&file](const QString &reason) {
        file.remove();
        fail(reason);
    };
    if (!writeAll(file, content))
        giveUp(file.errorString());
    try {
        flushToDisk(file.handle());
    } catch (const std::system_error &error) {
        giveUp(qt_error_string(error.code().value()));
    }
    file.close();
    if (std::rename(QFile::encodeName(file.fileName()).constData(), path.c_str()) != 0)
        giveUp(qt_error_string());
}
