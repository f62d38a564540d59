#include "platform/linux/AtomicFile.h"

#include "platform/PlatformError.h"

#include <QFile>
#include <QSaveFile>

using namespace Qt::StringLiterals;

namespace {
// A disk that fills up takes a part first and only tells at the next one what is the matter.
bool writeAll(QSaveFile &file, const QByteArray &content)
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
} // namespace

void AtomicFile::write(const std::filesystem::path &path, const QByteArray &content)
{
    QSaveFile file(QFile::decodeName(QByteArray::fromStdString(path.native())));
    if (!file.open(QIODevice::WriteOnly | QIODevice::Unbuffered) || !writeAll(file, content) ||
        !file.commit()) {
        throw PlatformError(u"The file can't be saved: "_s + file.errorString() + u'.');
    }
}
