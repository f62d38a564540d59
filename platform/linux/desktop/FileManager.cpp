#include "platform/linux/desktop/FileManager.h"

#include "platform/linux/desktop/DesktopEntries.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDeadlineTimer>
#include <QList>
#include <QPointer>
#include <QStringList>

#include <chrono>
#include <utility>

using namespace Qt::StringLiterals;

namespace {
// A window that opens later than that comes in the way of what the user does by then.
constexpr std::chrono::milliseconds patience{3000};

// The calls that are out; those that are over are null.
QList<QPointer<QDBusPendingCallWatcher>> &calls()
{
    static QList<QPointer<QDBusPendingCallWatcher>> list;
    return list;
}

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
    const QDeadlineTimer limit(patience);
    auto *const watcher = new QDBusPendingCallWatcher(
        QDBusConnection::sessionBus().asyncCall(call, static_cast<int>(patience.count())));
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
    // Each has its own limit since it went out.
    for (const QPointer<QDBusPendingCallWatcher> &each : std::exchange(calls(), {})) {
        if (each)
            each->waitForFinished();
    }
}
