#include "platform/linux/desktop/Trash.h"

#include "platform/PlatformError.h"
#include "platform/linux/desktop/GObjectPtr.h"

#include <QFile>
#include <QStandardPaths>

#include <optional>
#include <system_error>

using namespace Qt::StringLiterals;

namespace {
// Qt does not check this: where it finds no place for the user's Trash, it moves the item into
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
        throw PlatformError(u"The Trash can't be used: "_s +
                            QString::fromStdString(error.message()) + u'.');
}

// GIO keeps to every rule of the Trash, but refuses items in temporary file systems.
std::optional<PlatformError> putByGio(const std::filesystem::path &item, bool &isRefused)
{
    const GObjectPtr<GFile> file(g_file_new_for_path(item.c_str()));
    GError *failure = nullptr;
    g_file_trash(file.get(), nullptr, &failure);
    const GErrorPtr error(failure);
    isRefused = error && g_error_matches(error.get(), G_IO_ERROR, G_IO_ERROR_NOT_SUPPORTED);
    return error ? std::optional(PlatformError(QString::fromUtf8(error->message))) : std::nullopt;
}
} // namespace

void Trash::put(const std::filesystem::path &item)
{
    bool isRefused = false;
    const std::optional<PlatformError> failure = putByGio(item, isRefused);
    if (!failure)
        return;
    if (!isRefused)
        throw *failure;
    makeHomeTrash();
    QFile file(QFile::decodeName(QByteArray::fromStdString(item.native())));
    if (!file.moveToTrash())
        throw PlatformError(file.errorString());
}
