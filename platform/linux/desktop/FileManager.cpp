#include "platform/linux/desktop/FileManager.h"

#include "platform/linux/desktop/DesktopEntries.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDeadlineTimer>
#include <QStringList>

#include <chrono>

using namespace Qt::StringLiterals;

namespace {
// A window that opens later than that comes in the way of what the user does by then.
constexpr std::chrono::seconds patience{3};

void openFolderOf(const QByteArray &itemUri)
{
    const qsizetype slash = itemUri.lastIndexOf('/');
    (void)DesktopEntries::open(itemUri.first(slash + 1));
}
} // namespace

void FileManager::show(const QByteArray &itemUri)
{
    QDBusMessage call = QDBusMessage::createMethodCall(
        u"org.freedesktop.FileManager1"_s, u"/org/freedesktop/FileManager1"_s,
        u"org.freedesktop.FileManager1"_s, u"ShowItems"_s);
    call << QStringList{QString::fromLatin1(itemUri)} << QString();
    auto *const watcher =
        new QDBusPendingCallWatcher(QDBusConnection::sessionBus().asyncCall(call));
    const QDeadlineTimer limit(patience);
    QObject::connect(watcher, &QDBusPendingCallWatcher::finished, watcher,
                     [watcher, itemUri, limit] {
                         watcher->deleteLater();
                         if (watcher->isError() && !limit.hasExpired())
                             openFolderOf(itemUri);
                     });
}
