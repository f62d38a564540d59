// Runs whole tasks in a user's words on a private desktop with real applications and a perfect
// model, and counts those with the expected effect.
//
//   quillon-live-tasks [--window-manager NAME] [--part K/N] [--only TEXT] [--at-least PERCENT]
//                      [--pictures FOLDER] [--idle]
//
// Only the effects count, not Quillon's messages. A task fails if its effect exists before the
// first step, or if anything has changed that it does not name.

#include "agent/AgentSession.h"
#include "models/ModelManager.h"
#include "tests/live/LiveDesktop.h"
#include "tests/live/PlanningEngine.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QElapsedTimer>
#include <QJsonDocument>
#include <QTest>

#include <cstdio>

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
         {u"idle"_s, u"Do nothing: each task whose effect stays away counts as done."_s}});
    parser.addHelpOption();
    parser.process(*QCoreApplication::instance());
    const QStringList part = parser.value(u"part"_s).split(u'/');
    return {.windowManager = parser.value(u"window-manager"_s),
            .part = part.value(0).toInt() - 1,
            .parts = std::max(part.value(1).toInt(), 1),
            .only = parser.value(u"only"_s),
            .atLeast = parser.value(u"at-least"_s).toDouble(),
            .pictures = parser.value(u"pictures"_s),
            .isIdle = parser.isSet(u"idle"_s)};
}

void say(const QString &line)
{
    std::fputs(qPrintable(line + u'\n'), stdout);
    std::fflush(stdout);
}

class Runner
{
public:
    explicit Runner(LiveDesktop &desktop)
        : m_desktop(desktop), m_engine(std::make_shared<PlanningEngine>()), m_models(m_engine)
    {
        QCoro::waitFor(m_models.loadIfNeeded());
    }

    // The reason why a task would succeed without any step; empty if it would not.
    QString contentment(const LiveTheme &theme, const LiveTask &task)
    {
        m_desktop.prepare(theme, task);
        const bool came =
            QTest::qWaitFor([&] { return m_desktop.missing(task).isEmpty(); }, idleLimit);
        if (came)
            return u"its effect comes by itself"_s;
        const QStringList touched = m_desktop.touched(task);
        return touched.isEmpty() ? QString() : u"touched by itself: "_s + touched.join(u", "_s);
    }

    // The reason of the failure; empty if the task has succeeded.
    QString failure(const LiveTheme &theme, const LiveTask &task)
    {
        m_desktop.prepare(theme, task);
        if (m_desktop.missing(task).isEmpty())
            return u"the effect was there before"_s;
        QStringList steps;
        for (const QJsonValue &step : task.content[u"steps"_s].toArray()) {
            steps.append(m_desktop.filledIn(
                QString::fromUtf8(QJsonDocument(step.toObject()).toJson(QJsonDocument::Compact))));
        }
        m_engine->plan(steps);
        AgentSession session(m_models);
        // The user approves each step.
        QObject::connect(
            &session, &AgentSession::pendingChanged, &session,
            [&session] {
                if (session.pending())
                    session.resolve(true);
            },
            Qt::QueuedConnection);
        session.submit(task.words);
        if (!QTest::qWaitFor([&] { return !session.isRunning(); }, taskLimit)) {
            session.task()->cancel();
            session.resolve(false);
            (void)QTest::qWaitFor([&] { return !session.isRunning(); }, taskLimit);
            return u"it did not end"_s;
        }
        QStringList missing;
        const bool came = QTest::qWaitFor(
            [&] { return (missing = m_desktop.missing(task)).isEmpty(); }, effectLimit);
        if (const QStringList touched = m_desktop.touched(task); !touched.isEmpty())
            return u"touched "_s + touched.join(u", "_s) + told(session);
        return came ? QString() : u"missing "_s + missing.join(u", "_s) + told(session);
    }

private:
    static QString told(const AgentSession &session)
    {
        QString lines;
        for (const LogEntry &entry : session.turns().constLast().log)
            lines += u"\n      "_s + entry.text;
        return lines;
    }

    LiveDesktop &m_desktop;
    std::shared_ptr<PlanningEngine> m_engine;
    ModelManager m_models;
};
} // namespace

int main(int count, char **arguments)
{
    QCoreApplication application(count, arguments);
    const Options options = readOptions();
    const QList<LiveTheme> themes = readThemes(u"" LIVE_TASKS ""_s);
    LiveDesktop desktop(options.windowManager);
    desktop.install(themes);
    Runner runner(desktop);
    QElapsedTimer total;
    total.start();
    qsizetype index = 0;
    qsizetype done = 0;
    qsizetype tried = 0;
    for (const LiveTheme &theme : themes) {
        for (const LiveTask &task : theme.tasks) {
            const bool isChosen = index++ % options.parts == options.part;
            if (!isChosen || !task.name().contains(options.only))
                continue;
            QElapsedTimer timer;
            timer.start();
            const QString failure =
                options.isIdle ? runner.contentment(theme, task) : runner.failure(theme, task);
            ++tried;
            if (!failure.isEmpty() && !options.pictures.isEmpty())
                desktop.keepPicture(u"%1/%2-%3.png"_s.arg(options.pictures, theme.name).arg(index));
            done += failure.isEmpty() ? 1 : 0;
            say((failure.isEmpty() ? u"ok    "_s : u"FAIL  "_s) + task.name() +
                u" (%1 s)"_s.arg(double(timer.elapsed()) / 1000, 0, 'f', 1) +
                (failure.isEmpty() ? QString() : u"\n    "_s + failure));
        }
        desktop.closeApplications({});
    }
    const double share = tried == 0 ? 0 : 100.0 * double(done) / double(tried);
    say(u"%1: %2 of %3 tasks, %4 %, %5 s"_s.arg(options.windowManager)
            .arg(done)
            .arg(tried)
            .arg(share, 0, 'f', 1)
            .arg(total.elapsed() / 1000));
    return tried > 0 && share >= options.atLeast ? 0 : 1;
}
