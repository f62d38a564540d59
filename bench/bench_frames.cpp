// Whether the panel stays smooth: the time of its frames and the longest block of its main thread,
// while a real model generates at full speed and the history has 200 turns. On a private desktop,
// rendered in software as the program does on Linux.
#include "agent/AgentSession.h"
#include "app/Panel.h"
#include "bench/Measure.h"
#include "bench/ShapedModel.h"
#include "models/LocalModel.h"
#include "models/ModelManager.h"
#include "support/FakePlatform.h"
#include "support/TestModel.h"
#include "support/VirtualDesktop.h"
#include "ui/ModelsViewModel.h"
#include "ui/SessionViewModel.h"
#include "ui/Ui.h"

#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QGuiApplication>
#include <QQmlComponent>
#include <QQmlEngine>
#include <QQuickWindow>
#include <QTimer>

#include <ctime>

#include <algorithm>
#include <cstdlib>
#include <iostream>
#include <memory>
#include <stdexcept>

using namespace Qt::StringLiterals;

namespace {
constexpr int turnsInHistory = 200;
constexpr int enough = 600; // frames
constexpr std::chrono::minutes atMost{3};

// This thread's processor time so far; other programs do not count.
double processorMilliseconds()
{
    timespec time{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) * 1e3 + static_cast<double>(time.tv_nsec) / 1e6;
}

/// Records how long each frame takes, from the start of rendering until it is painted, and by how
/// much the event loop delays a timer with an interval of zero.
class Stopwatches final : public QObject
{
public:
    explicit Stopwatches(QQuickWindow &window)
    {
        window.installEventFilter(this);
        connect(&window, &QQuickWindow::frameSwapped, this, [this] {
            if (m_isPainting) {
                frames.push_back(m_sinceWakeUp.seconds() * 1000);
                work.push_back(processorMilliseconds() - m_workAtWakeUp);
            }
            m_isPainting = false;
        });
        m_timer.setTimerType(Qt::PreciseTimer);
        m_timer.setInterval(tick);
        connect(&m_timer, &QTimer::timeout, this, [this] {
            lateness.push_back(std::max(0.0, m_sinceTick.seconds() * 1000 - tick));
            m_sinceTick = {};
        });
        m_timer.start();
    }

    bool eventFilter(QObject *, QEvent *event) override
    {
        if (event->type() == QEvent::UpdateRequest) {
            m_sinceWakeUp = {};
            m_workAtWakeUp = processorMilliseconds();
            m_isPainting = true;
        }
        return false;
    }

    // In milliseconds.
    std::vector<double> frames;
    std::vector<double> work; ///< The same frames in processor time.
    std::vector<double> lateness;

private:
    static constexpr int tick = 5;

    QTimer m_timer;
    Measure::Stopwatch m_sinceTick;
    Measure::Stopwatch m_sinceWakeUp;
    double m_workAtWakeUp = 0;
    bool m_isPainting = false;
};

QList<Turn> history()
{
    QList<Turn> turns;
    for (int i = 0; i < turnsInHistory; ++i) {
        Turn turn{.command = u"Find the latest PDF in my Downloads folder, once more"_s,
                  .finished = true,
                  .summary = u"The latest PDF is “invoice.pdf”."_s};
        turn.log = {
            {.text = u"Searching Downloads"_s},
            {.text = u"Opening invoice.pdf — Nothing exists there."_s,
             .kind = LogEntry::Kind::failure},
            {.text = u"Searching Downloads"_s},
            {.text = u"The latest PDF is “invoice.pdf”."_s, .kind = LogEntry::Kind::success}};
        turns << turn;
    }
    return turns;
}

// A fast model whose replies have no end, or one with the size and shape of the usual model.
void putModel(bool isTiny)
{
    const QString place =
        QDir(ModelManager::directory()).filePath(LocalModel::catalog().first().fileName);
    QFile::remove(place);
    if (!isTiny) {
        if (!QFile::link(ShapedModel::path(), place))
            throw std::runtime_error("The model cannot be put in place.");
        return;
    }
    TestModel model = TestModel::saying({"I would rather talk about the weather than plan. "});
    model.replies.first().ends = false;
    model.write(place);
}

/// The panel with the real session, manager and engine.
struct Scene
{
    Scene() : session(models), sessionView(session), modelsView(models)
    {
        Ui::install(engine);
        QQmlComponent component(&engine, Ui::views().rootFile);
        root.reset(component.createWithInitialProperties(
            {{u"session"_s, QVariant::fromValue(&sessionView)},
             {u"models"_s, QVariant::fromValue(&modelsView)},
             {u"panel"_s, QVariant::fromValue(&panel)}}));
        window = qobject_cast<QQuickWindow *>(root.get());
        if (window == nullptr)
            throw std::runtime_error(component.errorString().toStdString());
        window->setFlags(Qt::Window | Qt::FramelessWindowHint);
        window->show();
    }

    ModelManager models;
    AgentSession session;
    SessionViewModel sessionView;
    ModelsViewModel modelsView;
    Panel panel;
    QQmlEngine engine;
    std::unique_ptr<QObject> root;
    QQuickWindow *window = nullptr;
};

struct Figures
{
    std::vector<double> frames;
    std::vector<double> work;
    std::vector<double> lateness;
};

Figures measure(Scene &scene)
{
    const QDeadlineTimer limit(atMost);
    const auto wait = [&limit](const auto &condition) {
        while (!condition() && !limit.hasExpired())
            QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    };
    wait([&] { return scene.modelsView.isLoaded(); });
    if (!scene.modelsView.isLoaded())
        throw std::runtime_error("The model is not loaded.");

    scene.session.setTurns(history());
    Stopwatches clocks(*scene.window);
    // Each turn ends with the third unreadable reply.
    wait([&] {
        if (!scene.session.isRunning()) {
            scene.session.submit(u"Find the latest PDF in my Downloads folder"_s);
        }
        return clocks.frames.size() >= enough;
    });
    scene.sessionView.stop();
    if (clocks.frames.size() < 50)
        throw std::runtime_error("Too few frames were painted to say anything.");
    return {clocks.frames, clocks.work, clocks.lateness};
}

double most(const std::vector<double> &samples)
{
    return *std::ranges::max_element(samples);
}

double rank(std::vector<double> samples, double share)
{
    std::ranges::sort(samples);
    return samples[static_cast<std::size_t>(share * static_cast<double>(samples.size() - 1))];
}

Measure::Json describe(const std::vector<double> &samples)
{
    Measure::Json json = Measure::summarize(samples);
    json["percentile99"] = rank(samples, 0.99);
    json["longest"] = most(samples);
    return json;
}

Measure::Json describe(const Figures &figures)
{
    return {{"frameMilliseconds", describe(figures.frames)},
            {"frameProcessorMilliseconds", describe(figures.work)},
            {"timerLateMilliseconds", describe(figures.lateness)}};
}
} // namespace

int main(int argc, char *argv[])
{
    // Before the private desktop sets its own.
    const QByteArray cache = qgetenv("XDG_CACHE_HOME");
    const QByteArray home = qgetenv("HOME");
    const VirtualDesktop desktop;
    qputenv("XDG_CACHE_HOME", cache.isEmpty() ? home + "/.cache" : cache);
    QQuickWindow::setGraphicsApi(QSGRendererInterface::Software);
    const QGuiApplication application(argc, argv);
    try {
        const FakePlatform platform;
        Measure::say("frames: a tiny, fast model");
        putModel(true);
        const Figures tiny = measure(*std::make_unique<Scene>());
        Measure::say("frames: a model of 1.5 billion parameters");
        putModel(false);
        auto scene = std::make_unique<Scene>();
        const Figures shaped = measure(*scene);
        Measure::report("frames",
                        {{"the longest frame with a tiny model, in milliseconds of the processor",
                          most(tiny.work), Measure::Goal::Side::atMost, 33},
                         {"the longest frame with a 1.5B model, in milliseconds of the processor",
                          most(shaped.work), Measure::Goal::Side::atMost, 33}},
                        {{"turnsInHistory", turnsInHistory},
                         {"tiny", describe(tiny)},
                         {"1.5B", describe(shaped)}});
        std::cout.flush();
        // Without destructors: the scene's would wait for the model's reply.
        std::_Exit(EXIT_SUCCESS);
    } catch (const std::exception &error) {
        Measure::say(error.what());
        return EXIT_FAILURE;
    }
}
