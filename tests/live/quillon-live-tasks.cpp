// Runs whole tasks in a user's words on a private desktop with real applications and a perfect
// model, or with a real one, and counts those with the expected effect.
//
//   quillon-live-tasks [--window-manager NAME] [--part K/N] [--only TEXT] [--at-least PERCENT]
//                      [--pictures FOLDER] [--idle] [--model FILE]
//
// Only the effects count, not Quillon's messages. A task fails if its effect exists before the
// first step, or if anything has changed that it does not name.

#include "agent/AgentSession.h"
#include "inference/LlamaEngine.h"
#include "models/ModelManager.h"
#include "tests/live/LiveDesktop.h"
#include "tests/live/PlanningEngine.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QJsonDocument>
#include <QTest>

#include <algorithm>
#include <cstdio>
#include <map>

using namespace Qt::StringLiterals;

namespace {
constexpr int taskLimit = 120'000;
constexpr int effectLimit = 10'000;
constexpr int idleLimit = 2000;

struct Options
{
    QString windowManager;
    qsizetype part = 0;
    qsizetype parts = 1;
    QString only;
    double atLeast = 0;
    QString pictures;
    bool isIdle = false; ///< Does nothing: shows that no grader is content with that.
    QString model;       ///< Empty for the perfect one.
};

// How a task ended.
enum class Ending {
    effect,     ///< As it was meant.
    nothing,    ///< The model declined without a step, or its first step failed the task.
    incomplete, ///< Some steps were done; the effect is missing.
    other,      ///< Something changed that the task does not name.
    endless     ///< It had to be stopped.
};

struct Result
{
    Ending ending = Ending::effect;
    QString reason; ///< Empty if the task has succeeded.
    int steps = 0;
};

Options readOptions()
{
    QCommandLineParser parser;
    parser.addOptions(
        {{u"window-manager"_s, u"openbox, marco, xfwm4 or kwin_x11."_s, u"name"_s, u"openbox"_s},
         {u"part"_s, u"Every Nth task, beginning with the Kth."_s, u"K/N"_s, u"1/1"_s},
         {u"only"_s, u"The tasks whose name contains it."_s, u"text"_s},
         {u"pictures"_s, u"Keep a picture of each failure there."_s, u"folder"_s},
         {u"at-least"_s, u"Fail below this share."_s, u"percent"_s, u"0"_s},
         {u"idle"_s, u"Do nothing: each task whose effect stays away counts as done."_s},
         {u"model"_s, u"This GGUF model plans the steps instead of a perfect one."_s, u"file"_s}});
    parser.addHelpOption();
    parser.process(*QCoreApplication::instance());
    const QStringList part = parser.value(u"part"_s).split(u'/');
    return {.windowManager = parser.value(u"window-manager"_s),
            .part = part.value(0).toInt() - 1,
            .parts = std::max(part.value(1).toInt(), 1),
            .only = parser.value(u"only"_s),
            .atLeast = parser.value(u"at-least"_s).toDouble(),
            .pictures = parser.value(u"pictures"_s),
            .isIdle = parser.isSet(u"idle"_s),
            .model = parser.value(u"model"_s)};
}

void say(const QString &line)
{
    std::fputs(qPrintable(line + u'\n'), stdout);
    std::fflush(stdout);
}

class Runner
{
public:
    // The file is that of a real model; empty for a perfect one.
    Runner(LiveDesktop &desktop, const QString &model)
        : m_desktop(desktop)
        , m_planner(model.isEmpty() ? std::make_shared<PlanningEngine>() : nullptr)
        , m_models(engine(m_planner, model))
    {
        QCoro::waitFor(m_models.loadIfNeeded());
        if (!model.isEmpty() && m_models.state() != ModelManager::State::loaded())
            qFatal("%s is not a working model.", qPrintable(model));
    }

    // Does nothing, and fails if the task succeeds by that.
    Result rest(const LiveTheme &theme, const LiveTask &task)
    {
        m_desktop.prepare(theme, task);
        const bool came =
            QTest::qWaitFor([&] { return m_desktop.missing(task).isEmpty(); }, idleLimit);
        if (came)
            return {Ending::other, u"its effect comes by itself"_s, 0};
        const QStringList touched = m_desktop.touched(task);
        if (!touched.isEmpty())
            return {Ending::other, u"touched by itself: "_s + touched.join(u", "_s), 0};
        return {};
    }

    Result perform(const LiveTheme &theme, const LiveTask &task)
    {
        m_desktop.prepare(theme, task);
        if (m_desktop.missing(task).isEmpty())
            return {Ending::other, u"the effect was there before"_s, 0};
        if (m_planner)
            m_planner->plan(idealSteps(task));
        AgentSession session(m_models);
        // The user approves each step.
        QObject::connect(
            &session, &AgentSession::pendingChanged, &session,
            [&session] {
                if (session.pending())
                    session.resolve(true);
            },
            Qt::QueuedConnection);
        session.submit(m_desktop.filledIn(task.words));
        if (!QTest::qWaitFor([&] { return !session.isRunning(); }, taskLimit)) {
            session.task()->cancel();
            session.resolve(false);
            (void)QTest::qWaitFor([&] { return !session.isRunning(); }, taskLimit);
            return {Ending::endless, u"it did not end"_s, 0};
        }
        const QList<LogEntry> &log = session.turns().constLast().log;
        const auto steps =
            static_cast<int>(std::ranges::count(log, LogEntry::Kind::step, &LogEntry::kind));
        QStringList missing;
        const bool came = QTest::qWaitFor(
            [&] { return (missing = m_desktop.missing(task)).isEmpty(); }, effectLimit);
        if (const QStringList touched = m_desktop.touched(task); !touched.isEmpty())
            return {Ending::other, u"touched "_s + touched.join(u", "_s) + told(session), steps};
        if (came)
            return {Ending::effect, {}, steps};
        return {steps == 0 ? Ending::nothing : Ending::incomplete,
                u"missing "_s + missing.join(u", "_s) + told(session), steps};
    }

private:
    static std::shared_ptr<InferenceEngine> engine(const std::shared_ptr<PlanningEngine> &planner,
                                                   const QString &model)
    {
        if (planner)
            return planner;
        const QString place =
            QDir(ModelManager::directory()).filePath(LocalModel::catalog().first().fileName);
        if (!QFile::link(QFileInfo(model).absoluteFilePath(), place))
            qFatal("%s cannot be linked.", qPrintable(model));
        return std::make_shared<LlamaEngine>();
    }

    [[nodiscard]] QStringList idealSteps(const LiveTask &task) const
    {
        QStringList steps;
        for (const auto &step : task.content[u"steps"_s].toArray()) {
            steps.append(m_desktop.filledIn(
                QString::fromUtf8(QJsonDocument(step.toObject()).toJson(QJsonDocument::Compact))));
        }
        return steps;
    }

    static QString told(const AgentSession &session)
    {
        QString lines;
        for (const LogEntry &entry : session.turns().constLast().log)
            lines += u"\n      "_s + entry.text;
        return lines;
    }

    LiveDesktop &m_desktop;
    std::shared_ptr<PlanningEngine> m_planner; ///< Null with a real model.
    ModelManager m_models;
};
} // namespace

int main(int count, char **arguments)
{
    const QCoreApplication application(count, arguments);
    const Options options = readOptions();
    const QList<LiveTheme> themes = readThemes(u"" LIVE_TASKS ""_s);
    LiveDesktop desktop(options.windowManager);
    desktop.install(themes);
    Runner runner(desktop, options.model);
    QElapsedTimer total;
    total.start();
    qsizetype index = 0;
    qsizetype tried = 0;
    qsizetype steps = 0;
    std::map<Ending, qsizetype> endings;
    for (const LiveTheme &theme : themes) {
        for (const LiveTask &task : theme.tasks) {
            const bool isChosen = index++ % options.parts == options.part;
            if (!isChosen || !task.name().contains(options.only))
                continue;
            QElapsedTimer timer;
            timer.start();
            const Result result =
                options.isIdle ? runner.rest(theme, task) : runner.perform(theme, task);
            ++tried;
            ++endings[result.ending];
            steps += result.steps;
            const bool isDone = result.ending == Ending::effect;
            if (!isDone && !options.pictures.isEmpty())
                desktop.keepPicture(u"%1/%2-%3.png"_s.arg(options.pictures, theme.name).arg(index));
            say((isDone ? u"ok    "_s : u"FAIL  "_s) + task.name() +
                u" (%1 s)"_s.arg(double(timer.elapsed()) / 1000, 0, 'f', 1) +
                (isDone ? QString() : u"\n    "_s + result.reason));
        }
        desktop.closeApplications({});
    }
    const auto seconds = double(total.elapsed()) / 1000;
    const auto perTask = [tried](double sum) {
        return QString::number(tried == 0 ? 0 : sum / double(tried), 'f', 1);
    };
    if (!options.model.isEmpty()) {
        say(u"nothing done: %1; incomplete: %2; something else done: %3; stopped: %4"_s
                .arg(endings[Ending::nothing])
                .arg(endings[Ending::incomplete])
                .arg(endings[Ending::other])
                .arg(endings[Ending::endless]));
        say(u"%1 steps and %2 s a task"_s.arg(perTask(double(steps)), perTask(seconds)));
    }
    const qsizetype done = endings[Ending::effect];
    const double share = tried == 0 ? 0 : 100.0 * double(done) / double(tried);
    say(u"%1: %2 of %3 tasks, %4 %, %5 s"_s.arg(options.windowManager)
            .arg(done)
            .arg(tried)
            .arg(share, 0, 'f', 1)
            .arg(qRound(seconds)));
    return tried > 0 && share >= options.atLeast ? 0 : 1;
}
