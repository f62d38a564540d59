#include "platform/linux/Capabilities.h"

#include "base/AtomicFile.h"
#include "base/Futures.h"
#include "base/WorkQueue.h"
#include "platform/PlatformError.h"
#include "platform/Screen.h"
#include "platform/linux/screenshot/RootGrab.h"
#include "platform/linux/x11/X11Desktop.h"

#include <QBuffer>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QFile>
#include <QImage>
#include <QImageWriter>
#include <QObject>
#include <QTimer>
#include <QUrl>
#include <QVariantMap>

#include <chrono>
#include <memory>
#include <mutex>
#include <new>

using namespace Qt::StringLiterals;

namespace {
// Docks, menus and palettes are above the layer of normal windows.
constexpr int extraLayer = 1;

constexpr std::chrono::milliseconds silenceLimit{2000};
// On Qt's scale up to 100: the even areas of a screen compress well at any level, and this one is
// fast.
constexpr int pngQuality = 80;

void save(const QByteArray &content, const std::filesystem::path &file)
{
    try {
        AtomicFile::write(file, content);
    } catch (const AtomicFileError &error) {
        throw PlatformError(QString::fromUtf8(error.what()));
    }
}

QByteArray pngFile(const QImage &image)
{
    QByteArray content;
    QBuffer buffer(&content);
    QImageWriter writer(&buffer, "png");
    writer.setQuality(pngQuality);
    if (!writer.write(image)) {
        throw PlatformError(u"The screenshot can't be put into a file: "_s + writer.errorString() +
                            u'.');
    }
    return content;
}

// A capture. The queue's thread makes it, and may block for ever on a server that hangs; the main
// thread has a timeout.
class Capture
{
public:
    Capture() { m_promise.start(); }

    [[nodiscard]] QFuture<void> future() const { return m_promise.future(); }

    void perform(const std::filesystem::path &file)
    {
        (void)enter(Stage::grabbing);
        try {
            const QImage image = RootGrab::grab([this] { answered(); });
            // A capture that has been given up leaves no file behind.
            if (!enter(Stage::saving))
                return;
            save(pngFile(image), file);
            if (enter(Stage::over))
                m_promise.finish();
        } catch (const PlatformError &error) {
            fail(error);
        } catch (const std::bad_alloc &) {
            fail(PlatformError(u"There is not enough memory for a picture of the screen."_s));
        }
    }

    /// Gives the grab up if there was no answer after that many. Returns how many there are now, or
    /// nothing if there is nothing to wait for any more.
    std::optional<int> answersAfter(int seen, WorkQueue &queue)
    {
        {
            const std::scoped_lock guard(m_lock);
            if (m_stage == Stage::waiting || (m_stage == Stage::grabbing && m_answers > seen))
                return m_answers;
            if (m_stage != Stage::grabbing)
                return std::nullopt;
            m_stage = Stage::over;
            // This is the queue's running job: to go on, it needs the lock.
            queue.abandonRunningJob();
        }
        Futures::fail(m_promise, PlatformError(u"The display doesn't answer."_s));
        return std::nullopt;
    }

private:
    enum class Stage { waiting, grabbing, saving, over };

    void answered()
    {
        const std::scoped_lock guard(m_lock);
        ++m_answers;
    }

    [[nodiscard]] bool enter(Stage stage)
    {
        const std::scoped_lock guard(m_lock);
        if (m_stage == Stage::over)
            return false;
        m_stage = stage;
        return true;
    }

    void fail(const PlatformError &error)
    {
        if (enter(Stage::over))
            Futures::fail(m_promise, error);
    }

    std::mutex m_lock;
    Stage m_stage = Stage::waiting;
    int m_answers = 0;
    QPromise<void> m_promise;
};

void watch(const std::weak_ptr<Capture> &watched, int seen, WorkQueue &queue, QObject *context)
{
    QTimer::singleShot(silenceLimit, context, [watched, seen, &queue, context] {
        const std::shared_ptr<Capture> capture = watched.lock();
        if (const auto answers = capture ? capture->answersAfter(seen, queue) : std::nullopt)
            watch(watched, *answers, queue, context);
    });
}

// The portal answers at once; the user, whom it may ask, takes longer.
constexpr std::chrono::seconds portalLimit{2};
constexpr std::chrono::seconds userLimit{60};

const QString portalName = u"org.freedesktop.portal.Desktop"_s;

// Moves the portal's file, so that there is only one file, at the requested path. Throws a
// PlatformError.
void move(const QUrl &address, const std::filesystem::path &file)
{
    QFile picture(address.toLocalFile());
    if (!address.isLocalFile() || !picture.open(QIODevice::ReadOnly))
        return;
    save(picture.readAll(), file);
    picture.remove();
}

// A screenshot by the desktop portal, for Wayland, where programs cannot capture the screen
// themselves. The portal may ask the user. If there is no portal, or if it or the user refuses,
// there is no file and no error; the future carries a PlatformError only if the image cannot be
// saved. Deletes itself when it has finished or failed. Main thread.
//
// Not by libportal, which would be a dependency for this one call, and whose answers need an event
// loop of GLib: Qt may be built without it.
class PortalRequest final : public QObject
{
    Q_OBJECT

public:
    explicit PortalRequest(std::filesystem::path file) : m_file(std::move(file))
    {
        m_promise.start();
    }

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

private:
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

// The screen of an X desktop. The desktop must outlive it.
class LinuxScreen final : public Screen
{
public:
    explicit LinuxScreen(X11Desktop &desktop) : m_desktop(desktop) {}
    ~LinuxScreen() override;

    std::optional<QList<WindowInfo>> windows() override;
    /// Writes what all monitors show to a PNG file, on the queue's thread. A server that says
    /// nothing for two seconds counts as one that never will.
    QFuture<void> capture(const std::filesystem::path &file) override;

private:
    X11Desktop &m_desktop;
    WorkQueue m_queue{"screen.capture"};
    QObject m_watches; ///< The context of the timers that watch captures.
};
} // namespace

LinuxScreen::~LinuxScreen()
{
    // A server that hangs must not hold up the end of the program.
    m_queue.abandonRunningJob();
}

std::optional<QList<WindowInfo>> LinuxScreen::windows()
{
    const std::optional<X11Snapshot> snapshot = m_desktop.snapshot();
    if (!snapshot)
        return std::nullopt;
    QList<WindowInfo> shown;
    for (const X11Window &window : snapshot->windows) {
        // Windows of known processes are handled by their process ids.
        if (!window.onScreen || window.kind == X11Window::Kind::desktop || window.isOurs({}))
            continue;
        shown.append({.layer = window.kind == X11Window::Kind::ordinary ? 0 : extraLayer,
                      .owner = window.process,
                      .ownerName = applicationOf(window).name,
                      .title = window.title});
    }
    return shown;
}

QFuture<void> LinuxScreen::capture(const std::filesystem::path &file)
{
    // On Wayland, an X server may exist too, but it does not have the contents of the screen.
    if (!qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY")) {
        auto *const request = new PortalRequest(file);
        QFuture<void> future = request->future();
        request->send();
        return future;
    }
    const auto capture = std::make_shared<Capture>();
    m_queue.add({[capture, file] { capture->perform(file); }});
    watch(capture, 0, m_queue, &m_watches);
    return capture->future();
}

std::unique_ptr<Screen> makeLinuxScreen(X11Desktop &desktop)
{
    return std::make_unique<LinuxScreen>(desktop);
}

#include "LinuxScreen.moc"
