#include "platform/linux/Trash.h"

#include "platform/PlatformError.h"
#include "platform/linux/GObjectPtr.h"

#include <QFile>
#include <QStandardPaths>

#include <system_error>

namespace {
// Qt checks neither of these: where it finds no place for the user's Trash, it moves the item into
// the working directory and calls that a success (seen on 6.4.2).
void makeHomeTrash()
{
    const QString data = QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation);
    const std::filesystem::path trash =
        std::filesystem::path(QFile::encodeName(data).toStdString()) / "Trash";
    std::error_code error;
    if (std::filesystem::create_directories(trash, error)) {
        std::filesystem::permissions(trash, std::filesystem::perms::owner_all, error);
    }
    for (const char *part : {"files", "info"}) {
        if (!error && std::filesystem::create_directory(trash / part, error))
            std::filesystem::permissions(trash / part, std::filesystem::perms::owner_all, error);
    }
    if (error)
        throw PlatformError(QStringLiteral("The Trash can't be used: ") +
                            QString::fromStdString(error.message()) + u'.');
}

// Qt takes a link to nowhere for nothing at all.
void putDanglingLink(const std::filesystem::path &link)
{
    const GObjectPtr<GFile> file(g_file_new_for_path(link.c_str()));
    GError *failure = nullptr;
    g_file_trash(file.get(), nullptr, &failure);
    if (const GErrorPtr error(failure); error)
        throw PlatformError(QString::fromUtf8(error->message));
}
} // namespace

void Trash::put(const std::filesystem::path &item)
{
    makeHomeTrash();
    std::error_code ignored;
    if (std::filesystem::is_symlink(item, ignored) && !std::filesystem::exists(item, ignored)) {
        putDanglingLink(item);
        return;
    }
    QFile file(QFile::decodeName(QByteArray::fromStdString(item.native())));
    if (!file.moveToTrash())
        throw PlatformError(file.errorString());
}
