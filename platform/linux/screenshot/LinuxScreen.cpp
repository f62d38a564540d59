#include "platform/linux/screenshot/LinuxScreen.h"

#include "base/WorkerThread.h"
#include "platform/Outcome.h"
#include "platform/linux/screenshot/AtomicFile.h"
#include "platform/linux/screenshot/RootGrab.h"
#include "platform/linux/screenshot/ScreenPortal.h"
#include "platform/linux/x11/X11Desktop.h"

#include <QBuffer>
#include <QImage>
#include <QImageWriter>
#include <QTimer>

#include <chrono>
#include <memory>
#include <mutex>
#include <new>
#include <thread>

using namespace Qt::StringLiterals;

namespace {
// Docks, menus and palettes are above the ordinary windows' layer.
constexpr int extraLayer = 1;

constexpr std::chrono::milliseconds silenceLimit{2000};
// Of the toolkit's 100: a screen's even areas compress well at any level, and this one is fast.
constexpr int pngQuality = 80;

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

// One capture, shared by its thread, which a server that hangs may hold for ever, and by the main
// thread, which gives up in time.
class Capture
{
public:
    Capture() { m_promise.start(); }

    [[nodiscard]] QFuture<void> future() const { return m_promise.future(); }

    void perform(const std::filesystem::path &file)
    {
        std::optional<QString> failure;
        try {
            const QImage image = RootGrab::grab([this] { answered(); });
            // What nobody waits for any more must not turn up later.
            if (!beginSaving())
                return;
            AtomicFile::write(file, pngFile(image));
        } catch (const PlatformError &error) {
            failure = QString::fromUtf8(error.what());
        } catch (const std::bad_alloc &) {
            failure = u"There is not enough memory for a picture of the screen."_s;
        }
        end(failure);
    }

    /// How many answers there were, while there are more than those seen before. Otherwise there
    /// is nothing to wait for any more, and one that hangs has been given up.
    std::optional<int> answersAfter(int seen)
    {
        {
            const std::scoped_lock guard(m_lock);
            if (m_stage != Stage::grabbing)
                return std::nullopt;
            if (m_answers > seen)
                return m_answers;
        }
        end(u"The display doesn't answer."_s);
        return std::nullopt;
    }

private:
    enum class Stage { grabbing, saving, over };

    void answered()
    {
        const std::scoped_lock guard(m_lock);
        ++m_answers;
    }

    bool beginSaving()
    {
        const std::scoped_lock guard(m_lock);
        if (m_stage != Stage::grabbing)
            return false;
        m_stage = Stage::saving;
        return true;
    }

    void end(const std::optional<QString> &failure)
    {
        {
            const std::scoped_lock guard(m_lock);
            if (m_stage == Stage::over)
                return;
            m_stage = Stage::over;
        }
        settle(m_promise, failure);
    }

    std::mutex m_lock;
    Stage m_stage = Stage::grabbing;
    int m_answers = 0;
    QPromise<void> m_promise;
};

void watch(const std::weak_ptr<Capture> &watched, int seen)
{
    QTimer::singleShot(silenceLimit, [watched, seen] {
        const std::shared_ptr<Capture> capture = watched.lock();
        if (const std::optional<int> answers = capture ? capture->answersAfter(seen) : std::nullopt)
            watch(watched, *answers);
    });
}

// Writes what all monitors show to a PNG file, on a thread of its own. A server that says nothing
// for two seconds counts as one that never will.
QFuture<void> captureDisplay(const std::filesystem::path &file)
{
    const auto capture = std::make_shared<Capture>();
    QFuture<void> future = capture->future();
    std::thread([capture, file] {
        WorkerThread::begin("screen.capture");
        capture->perform(file);
    }).detach();
    watch(capture, 0);
    return future;
}
} // namespace

std::optional<QList<WindowInfo>> LinuxScreen::windows()
{
    const std::optional<X11Snapshot> snapshot = m_desktop.snapshot();
    if (!snapshot)
        return std::nullopt;
    QList<WindowInfo> shown;
    for (const X11Window &window : snapshot->windows) {
        // What runs as a process that we know is told apart by that.
        if (!window.onScreen || window.kind == X11Window::Kind::desktop || window.isOurs({}))
            continue;
        shown.append({.layer = window.kind == X11Window::Kind::ordinary ? 0 : extraLayer,
                      .owner = window.owner,
                      .ownerName = ownerOf(window).name,
                      .title = window.title});
    }
    return shown;
}

QFuture<void> LinuxScreen::capture(const std::filesystem::path &file)
{
    // Under Wayland the X server that may be there as well shows nothing of the screen.
    if (!qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY"))
        return ScreenPortal::capture(file);
    return captureDisplay(file);
}
