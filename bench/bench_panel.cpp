// The cost of the panel: the time from the program's start to its first painted frame and from the
// hot key to the painted panel with the keyboard focus, its memory without a loaded model, and its
// processor time when idle. On a private X server without a compositor; the program is the one that
// users run, observed from outside.
#include "bench/Measure.h"
#include "support/VirtualDesktop.h"

#include <QCoreApplication>
#include <QFile>
#include <QProcess>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <optional>
#include <stdexcept>
#include <thread>

#include <unistd.h>
#include <xcb/xcb.h>
#include <xcb/xtest.h>

using namespace Qt::StringLiterals;

namespace {
using Clock = std::chrono::steady_clock;

constexpr auto timeout = std::chrono::seconds(20);

struct Freed
{
    void operator()(void *memory) const { std::free(memory); }
};
template <typename T>
using Reply = std::unique_ptr<T, Freed>;

xcb_atom_t atom(xcb_connection_t *connection, const QByteArray &name)
{
    const Reply<xcb_intern_atom_reply_t> reply(xcb_intern_atom_reply(
        connection,
        xcb_intern_atom(connection, 0, static_cast<uint16_t>(name.size()), name.constData()),
        nullptr));
    return reply->atom;
}

// Points on the left and right edge of the panel at its position when summoned, from top to bottom.
constexpr std::array<std::pair<int16_t, int16_t>, 6> places{
    {{290, 130}, {290, 400}, {290, 690}, {990, 130}, {990, 400}, {990, 690}}};
using Sample = std::array<uint32_t, places.size()>;

/// Observes through the X server when the panel is mapped, is painted and has the focus.
class Onlooker
{
public:
    Onlooker() : m_connection(xcb_connect(nullptr, nullptr))
    {
        m_root = xcb_setup_roots_iterator(xcb_get_setup(m_connection)).data->root;
        m_name = atom(m_connection, "_NET_WM_NAME");
        m_clients = atom(m_connection, "_NET_CLIENT_LIST");
    }
    ~Onlooker() { xcb_disconnect(m_connection); }
    Onlooker(const Onlooker &) = delete;
    Onlooker &operator=(const Onlooker &) = delete;

    /// The panel's window among those that the window manager lists.
    [[nodiscard]] std::optional<xcb_window_t> panel()
    {
        const Reply<xcb_get_property_reply_t> list(xcb_get_property_reply(
            m_connection,
            xcb_get_property(m_connection, 0, m_root, m_clients, XCB_ATOM_WINDOW, 0, 1024),
            nullptr));
        const auto *const windows =
            static_cast<const xcb_window_t *>(xcb_get_property_value(list.get()));
        const int count =
            xcb_get_property_value_length(list.get()) / static_cast<int>(sizeof(xcb_window_t));
        for (int i = 0; i < count; ++i) {
            if (title(windows[i]) == "Quillon")
                return windows[i];
        }
        return std::nullopt;
    }

    [[nodiscard]] bool isMapped(xcb_window_t window)
    {
        const Reply<xcb_get_window_attributes_reply_t> attributes(xcb_get_window_attributes_reply(
            m_connection, xcb_get_window_attributes(m_connection, window), nullptr));
        return attributes && attributes->map_state == XCB_MAP_STATE_VIEWABLE;
    }

    [[nodiscard]] bool hasKeyboard(xcb_window_t window)
    {
        const Reply<xcb_get_input_focus_reply_t> focus(
            xcb_get_input_focus_reply(m_connection, xcb_get_input_focus(m_connection), nullptr));
        return focus && focus->focus == window;
    }

    /// The screen's pixels at points where the panel has only its background.
    [[nodiscard]] Sample sample()
    {
        std::array<xcb_get_image_cookie_t, places.size()> cookies{};
        for (size_t i = 0; i < places.size(); ++i) {
            cookies[i] = xcb_get_image(m_connection, XCB_IMAGE_FORMAT_Z_PIXMAP, m_root,
                                       places[i].first, places[i].second, 1, 1, 0xffffffff);
        }
        Sample result{};
        for (size_t i = 0; i < places.size(); ++i) {
            const Reply<xcb_get_image_reply_t> image(
                xcb_get_image_reply(m_connection, cookies[i], nullptr));
            if (image && xcb_get_image_data_length(image.get()) >= 4)
                std::memcpy(&result[i], xcb_get_image_data(image.get()), sizeof(uint32_t));
        }
        return result;
    }

    void press(uint8_t key) { fake(XCB_KEY_PRESS, key); }
    void release(uint8_t key) { fake(XCB_KEY_RELEASE, key); }

private:
    [[nodiscard]] QByteArray title(xcb_window_t window)
    {
        const Reply<xcb_get_property_reply_t> name(xcb_get_property_reply(
            m_connection,
            xcb_get_property(m_connection, 0, window, m_name, XCB_GET_PROPERTY_TYPE_ANY, 0, 64),
            nullptr));
        return name ? QByteArray(static_cast<const char *>(xcb_get_property_value(name.get())),
                                 xcb_get_property_value_length(name.get()))
                    : QByteArray();
    }

    void fake(uint8_t type, uint8_t key)
    {
        xcb_test_fake_input(m_connection, type, key, XCB_CURRENT_TIME, m_root, 0, 0, 0);
        xcb_flush(m_connection);
    }

    xcb_connection_t *m_connection;
    xcb_window_t m_root = XCB_WINDOW_NONE;
    xcb_atom_t m_name = XCB_ATOM_NONE;
    xcb_atom_t m_clients = XCB_ATOM_NONE;
};

template <typename Condition>
double millisecondsUntil(Condition holds, Clock::time_point since)
{
    while (!holds()) {
        if (Clock::now() - since > timeout)
            throw std::runtime_error("The panel did not do what was waited for.");
        std::this_thread::sleep_for(std::chrono::microseconds(200));
    }
    return std::chrono::duration<double, std::milli>(Clock::now() - since).count();
}

template <typename Condition>
void wait(Condition holds)
{
    (void)millisecondsUntil(holds, Clock::now());
}

double residentMB(qint64 process)
{
    QFile file(u"/proc/%1/statm"_s.arg(process));
    if (!file.open(QIODevice::ReadOnly))
        throw std::runtime_error("The panel is gone.");
    return file.readAll().split(' ').value(1).toDouble() *
           static_cast<double>(sysconf(_SC_PAGESIZE)) / 1e6;
}

// Of all threads of the process, in milliseconds.
double processorTime(qint64 process)
{
    QFile file(u"/proc/%1/stat"_s.arg(process));
    if (!file.open(QIODevice::ReadOnly))
        throw std::runtime_error("The panel is gone.");
    const QByteArray line = file.readAll();
    const QList<QByteArray> fields = line.mid(line.lastIndexOf(')') + 2).split(' ');
    return (fields.value(11).toDouble() + fields.value(12).toDouble()) * 1000 /
           static_cast<double>(sysconf(_SC_CLK_TCK));
}

int measure(const QString &program)
{
    constexpr int starts = 21;
    constexpr int summons = 41;
    constexpr int idleSeconds = 10;
    constexpr uint8_t alt = 64;
    constexpr uint8_t space = 65;

    const VirtualDesktop desktop;
    Onlooker onlooker;
    std::vector<double> firstFrames;
    std::vector<double> painted;
    std::vector<double> memory;
    const Sample bare = onlooker.sample();
    Sample full = bare;
    const auto isPainted = [&] {
        const Sample now = onlooker.sample();
        // The panel's colours are unknown before its first start.
        return full == bare ? std::ranges::mismatch(now, bare).in1 == now.begin() : now == full;
    };
    for (int i = 0; i <= starts; ++i) {
        wait([&] { return onlooker.sample() == bare; });
        QProcess process;
        const Clock::time_point start = Clock::now();
        process.start(program, QStringList());
        const double toFrame = millisecondsUntil(isPainted, start);
        wait([&] {
            const auto window = onlooker.panel();
            return window && onlooker.hasKeyboard(*window);
        });
        std::this_thread::sleep_for(std::chrono::milliseconds(300));
        full = onlooker.sample();
        if (i > 0) { // The first start warms the file cache.
            firstFrames.push_back(toFrame);
            memory.push_back(residentMB(process.processId()));
        }
        if (i < starts) {
            process.kill();
            process.waitForFinished();
            wait([&] { return !onlooker.panel(); });
            continue;
        }

        const xcb_window_t window = onlooker.panel().value_or(XCB_WINDOW_NONE);
        const auto hotKey = [&] {
            onlooker.press(alt);
            onlooker.press(space);
            const Clock::time_point pressed = Clock::now();
            onlooker.release(space);
            onlooker.release(alt);
            return pressed;
        };
        for (int summon = 0; summon < summons; ++summon) {
            hotKey();
            wait([&] { return !onlooker.isMapped(window); });
            wait([&] { return onlooker.sample() == bare; });
            std::this_thread::sleep_for(std::chrono::milliseconds(100));
            const Clock::time_point pressed = hotKey();
            painted.push_back(millisecondsUntil(
                [&] { return isPainted() && onlooker.hasKeyboard(window); }, pressed));
            std::this_thread::sleep_for(std::chrono::milliseconds(100));
        }
        std::this_thread::sleep_for(std::chrono::seconds(2));
        const double before = processorTime(process.processId());
        std::this_thread::sleep_for(std::chrono::seconds(idleSeconds));
        const double idle = processorTime(process.processId()) - before;
        process.kill();
        process.waitForFinished();

        const Measure::Summary frameSummary = Measure::summarize(firstFrames);
        const Measure::Summary summonSummary = Measure::summarize(painted);
        const Measure::Summary memorySummary = Measure::summarize(memory);
        Measure::report(
            "panel",
            {{"from the start to the first frame, in milliseconds", frameSummary.median,
              Measure::Goal::Side::atMost, 200},
             {"from the hot key to the painted panel with the keyboard, in milliseconds",
              summonSummary.median, Measure::Goal::Side::atMost, 50},
             {"memory without a model, in MB", memorySummary.median, Measure::Goal::Side::atMost,
              90},
             {"processor time in ten idle seconds, in milliseconds", idle,
              Measure::Goal::Side::atMost, 0}},
            {{"startToFrameMilliseconds", frameSummary},
             {"hotKeyToPanelMilliseconds", summonSummary},
             {"memoryMB", memorySummary}});
    }
    return EXIT_SUCCESS;
}
} // namespace

int main(int argc, char *argv[])
{
    const QCoreApplication application(argc, argv);
    try {
        return measure(argc > 1 ? QString::fromLocal8Bit(argv[1]) : u"" PANEL_PROGRAM ""_s);
    } catch (const std::exception &error) {
        Measure::say(error.what());
        return EXIT_FAILURE;
    }
}
