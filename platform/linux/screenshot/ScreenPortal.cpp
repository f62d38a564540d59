#include "platform/linux/screenshot/ScreenPortal.h"

#include "base/Futures.h"
#include "platform/PlatformError.h"
#include "platform/linux/screenshot/AtomicFile.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QFile>
#include <QTimer>
#include <QUrl>
#include <QVariantMap>

#include <chrono>
#include <utility>

using namespace Qt::StringLiterals;

namespace {
using namespace std::chrono_literals;

// The portal answers at once; the user, whom it may ask, takes longer.
constexpr auto portalLimit = 2s;
constexpr auto userLimit = 60s;

const QString portalName = u"org.freedesktop.portal.Desktop"_s;

// Moves the portal's file, so that there is only one file, at the requested path. Throws a
// PlatformError.
void move(const QUrl &address, const std::filesystem::path &file)
{
    QFile picture(address.toLocalFile());
    if (!address.isLocalFile() || !picture.open(QIODevice::ReadOnly))
        return;
    AtomicFile::write(file, picture.readAll());
    picture.remove();
}

// A request for a screenshot. Deletes itself when it has finished or failed.
class Request final : public QObject
{
    Q_OBJECT

public:
    explicit Request(std::filesystem::path file) : m_file(std::move(file)) { m_promise.start(); }

    [[nodiscard]] QFuture<void> future() const { return m_promise.future(); }

    void send()
    {
        QDBusConnection bus = QDBusConnection::sessionBus();
        const QString token = u"quillon%1"_s.arg(++s_count);
        // The portal may respond before it has returned the request's path, so that is computed in
        // advance.
        m_path = u"/org/freedesktop/portal/desktop/request/%1/%2"_s.arg(
            bus.baseService().mid(1).replace(u'.', u'_'), token);
        // From the portal only: the file in the response is moved.
        if (!bus.connect(portalName, m_path, u"org.freedesktop.portal.Request"_s, u"Response"_s,
                         this, SLOT(respond(uint, QVariantMap)))) {
            end();
            return;
        }
        QDBusMessage call =
            QDBusMessage::createMethodCall(portalName, u"/org/freedesktop/portal/desktop"_s,
                                           u"org.freedesktop.portal.Screenshot"_s, u"Screenshot"_s);
        call << QString() << QVariantMap{{u"handle_token"_s, token}};
        auto *const watcher = new QDBusPendingCallWatcher(
            bus.asyncCall(call, static_cast<int>(std::chrono::milliseconds(portalLimit).count())),
            this);
        connect(watcher, &QDBusPendingCallWatcher::finished, this, [this, watcher] {
            if (!watcher->isError())
                return;
            // The portal may only be slow and still ask the user.
            withdraw();
            end();
        });
        QTimer::singleShot(userLimit, this, [this] {
            withdraw();
            end();
        });
    }

private Q_SLOTS:
    void respond(uint code, const QVariantMap &results)
    {
        const bool isTaken = code == 0;
        try {
            if (isTaken && !m_isOver)
                move(QUrl(results.value(u"uri"_s).toString()), m_file);
        } catch (const PlatformError &error) {
            m_promise.setException(error);
        }
        end();
    }

private: // NOLINT(readability-redundant-access-specifiers): those above are slots
    // Closes the portal's dialog.
    void withdraw() const
    {
        QDBusConnection::sessionBus().send(QDBusMessage::createMethodCall(
            portalName, m_path, u"org.freedesktop.portal.Request"_s, u"Close"_s));
    }

    void end()
    {
        if (std::exchange(m_isOver, true))
            return;
        m_promise.finish();
        deleteLater();
    }

    static inline int s_count = 0;

    std::filesystem::path m_file;
    QString m_path;
    QPromise<void> m_promise;
    bool m_isOver = false;
};
} // namespace

QFuture<void> ScreenPortal::capture(const std::filesystem::path &file)
{
    auto *const request = new Request(file);
    QFuture<void> future = request->future();
    request->send();
    return future;
}

bool ScreenPortal::isOffered()
{
    const QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected())
        return false;
    bus.interface()->setTimeout(static_cast<int>(std::chrono::milliseconds(portalLimit).count()));
    return bus.interface()->isServiceRegistered(portalName) ||
           bus.interface()->activatableServiceNames().value().contains(portalName);
}

#include "ScreenPortal.moc"
