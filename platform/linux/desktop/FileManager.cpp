#include "platform/linux/desktop/FileManager.h"

#include "platform/PlatformError.h"
#include "platform/linux/desktop/DesktopEntries.h"
#include "platform/linux/desktop/GObjectPtr.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDeadlineTimer>
#include <QFile>
#include <QList>
#include <QPointer>
#include <QStandardPaths>
#include <QStringList>

#include <chrono>
#include <optional>
#include <system_error>
#include <utility>

using namespace Qt::StringLiterals;

namespace {
// A window that opens later would disturb what the user does by then.
constexpr std::chrono::milliseconds answerLimit{3000};

// The pending calls; finished ones are null.
QList<QPointer<QDBusPendingCallWatcher>> &calls()
{
    static QList<QPointer<QDBusPendingCallWatcher>> list;
    return list;
}

void openFolderOf(const QByteArray &itemUri)
{
    const qsizetype slash = itemUri.lastIndexOf('/');
    try {
        (void)DesktopEntries::open(itemUri.first(slash + 1));
    } catch (const PlatformError &) { // NOLINT(bugprone-empty-catch)
        // It cannot be reported: the step that revealed the item has ended by now.
    }
}

// Qt does not check this: without a folder for the user's Trash, it moves the item to the working
// directory and reports success (seen with 6.4.2).
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

// GIO implements all rules of the Trash, but refuses items in temporary file systems.
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

void FileManager::show(const QByteArray &itemUri)
{
    QDBusMessage call = QDBusMessage::createMethodCall(
        u"org.freedesktop.FileManager1"_s, u"/org/freedesktop/FileManager1"_s,
        u"org.freedesktop.FileManager1"_s, u"ShowItems"_s);
    call << QStringList{QString::fromLatin1(itemUri)} << QString();
    const QDeadlineTimer limit(answerLimit);
    auto *const watcher = new QDBusPendingCallWatcher(
        QDBusConnection::sessionBus().asyncCall(call, static_cast<int>(answerLimit.count())));
    QObject::connect(watcher, &QDBusPendingCallWatcher::finished, watcher,
                     [watcher, itemUri, limit] {
                         watcher->deleteLater();
                         const bool cannot =
                             watcher->isError() && watcher->error().type() != QDBusError::NoReply;
                         if (cannot && !limit.hasExpired())
                             openFolderOf(itemUri);
                     });
    calls().removeIf([](const auto &each) { return each.isNull(); });
    calls().append(watcher);
}

void FileManager::finish()
{
    // Each has its own timeout from the time when it was sent.
    for (const QPointer<QDBusPendingCallWatcher> &each : std::exchange(calls(), {})) {
        if (each)
            each->waitForFinished();
    }
}

void FileManager::trash(const std::filesystem::path &item)
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
