#include "platform/linux/screenshot/LinuxScreen.h"

#include "base/Futures.h"
#include "platform/PlatformError.h"
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

using namespace Qt::StringLiterals;

namespace {
// Docks, menus and palettes are above the layer of normal windows.
constexpr int extraLayer = 1;

constexpr std::chrono::milliseconds silenceLimit{2000};
// On Qt's scale up to 100: the even areas of a screen compress well at any level, and this one is
// fast.
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
            AtomicFile::write(file, pngFile(image));
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
                      .owner = window.owner,
                      .ownerName = ownerOf(window).name,
                      .title = window.title});
    }
    return shown;
}

QFuture<void> LinuxScreen::capture(const std::filesystem::path &file)
{
    // On Wayland, an X server may exist too, but it does not have the contents of the screen.
    if (!qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY"))
        return ScreenPortal::capture(file);
    const auto capture = std::make_shared<Capture>();
    m_queue.add({[capture, file] { capture->perform(file); }});
    watch(capture, 0, m_queue, &m_watches);
    return capture->future();
}
