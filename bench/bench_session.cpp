// The overhead of the session: from a submitted task to the engine's call, and from the model's
// reply to the call of the platform.
#include "agent/AgentSession.h"
#include "bench/Measure.h"
#include "models/ModelManager.h"
#include "support/FakePlatform.h"

#include <QCoreApplication>
#include <QEventLoop>
#include <QTemporaryDir>

#include <stdexcept>
#include <utility>

using namespace Qt::StringLiterals;

namespace {
// When the task was submitted and when the reply was given, with the times measured from there.
struct Clock
{
    Measure::Stopwatch sinceSubmit;
    Measure::Stopwatch sinceReply;
    double toEngine = 0;
    double toPlatform = 0;
    bool awaitsStep = false; // The platform has not been called since the reply.
};

// Asks for the windows, which is a step without a fixed wait, and then ends the turn.
class QuickEngine final : public InferenceEngine
{
public:
    explicit QuickEngine(Clock &clock) : m_clock(clock) {}

    [[nodiscard]] bool isLoaded() const override { return true; }
    [[nodiscard]] QCoro::Task<> load(QString) override { co_return; }
    void unload() override {}
    [[nodiscard]] QCoro::Task<QString> generate(QList<ChatMessage> conversation, int,
                                                OnToken onToken) override
    {
        const bool isFirstPass = conversation.size() == 2;
        if (isFirstPass)
            m_clock.toEngine = m_clock.sinceSubmit.seconds();
        const QString reply = isFirstPass ? u"{\"action\":\"list_windows\"}"_s
                                          : u"{\"action\":\"done\",\"message\":\"That is all.\"}"_s;
        onToken(reply);
        m_clock.awaitsStep = isFirstPass;
        m_clock.sinceReply = {};
        co_return reply;
    }

private:
    Clock &m_clock;
};

// A platform in memory that records when its screen is requested.
class TimedPlatform final : public FakePlatform
{
public:
    explicit TimedPlatform(Clock &clock) : m_clock(clock)
    {
        const Application browser{.pid = ProcessId{7}, .name = u"Browser"_s};
        fakeWorkspace.running = {browser};
        fakeWorkspace.front = browser;
        fakeScreen.shown = QList<WindowInfo>(8, {.layer = 0,
                                                 .owner = browser.pid,
                                                 .ownerName = browser.name,
                                                 .title = u"An open page"_s});
    }

    Screen &screen() override
    {
        if (std::exchange(m_clock.awaitsStep, false))
            m_clock.toPlatform = m_clock.sinceReply.seconds();
        return FakePlatform::screen();
    }

private:
    Clock &m_clock;
};

void runTurn(AgentSession &session)
{
    QEventLoop loop;
    const auto connection = QObject::connect(&session, &AgentSession::isRunningChanged, &loop, [&] {
        if (!session.isRunning())
            loop.quit();
    });
    session.submit(u"Which windows are open?"_s);
    loop.exec();
    QObject::disconnect(connection);
}

int measure()
{
    constexpr int warmUp = 20;
    constexpr int turns = 1000;
    Clock clock;
    const TimedPlatform platform(clock);
    ModelManager manager(std::make_shared<QuickEngine>(clock));
    AgentSession session(manager);
    std::vector<double> toEngine;
    std::vector<double> toPlatform;
    for (int turn = 0; turn < warmUp + turns; ++turn) {
        clock.sinceSubmit = {};
        runTurn(session);
        if (clock.awaitsStep || !session.turns().last().summary)
            throw std::runtime_error("The turn did not go as planned.");
        if (turn < warmUp)
            continue;
        toEngine.push_back(clock.toEngine * 1e6);
        toPlatform.push_back(clock.toPlatform * 1e6);
    }

    const Measure::Summary engineSummary = Measure::summarize(toEngine);
    const Measure::Summary platformSummary = Measure::summarize(toPlatform);
    Measure::report("session",
                    {{"from submit to the engine's call, in microseconds", engineSummary.median,
                      Measure::Goal::Side::atMost, 1000},
                     {"from the reply to the platform's call, in microseconds",
                      platformSummary.median, Measure::Goal::Side::atMost, 1000}},
                    {{"submitToEngineMicroseconds", engineSummary},
                     {"replyToPlatformMicroseconds", platformSummary}});
    return EXIT_SUCCESS;
}
} // namespace

int main(int argc, char *argv[])
{
    // A home of its own, so that the user's settings are not touched.
    const QTemporaryDir home;
    for (const char *variable : {"HOME", "XDG_DATA_HOME", "XDG_CONFIG_HOME", "XDG_CACHE_HOME"})
        qputenv(variable, home.path().toUtf8());
    const QCoreApplication application(argc, argv);
    try {
        return measure();
    } catch (const std::exception &error) {
        Measure::say(error.what());
        return EXIT_FAILURE;
    }
}
