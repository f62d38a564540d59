// The time of the actions without their fixed waits: real windows on a private desktop, two hundred
// installed applications, full folders.
#include "agent/action/ActionError.h"
#include "bench/Measure.h"
#include "executor/Executor.h"
#include "executor/Pause.h"
#include "platform/PlatformError.h"
#include "tests/support/VirtualDesktop.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QThread>

#include <algorithm>
#include <functional>
#include <map>
#include <stdexcept>

namespace {
using namespace Qt::StringLiterals;

constexpr int rounds = 9;
constexpr int applications = 200;
constexpr int openWindows = 10;
constexpr int filesInFolder = 1000;
constexpr double limit = 20;

// The state of the desktop is cached for a second. In a task, the model generates for longer than
// that between two steps, so each action starts with an empty cache.
constexpr std::chrono::milliseconds modelsThought{1100};

struct Action
{
    QString name;
    QMap<QString, QString> args;
    std::function<void()> prepare = [] {};
};

void waitFor(const std::function<bool()> &condition, const char *what)
{
    for (const QDeadlineTimer deadline(30'000); !condition();) {
        if (deadline.hasExpired())
            throw std::runtime_error(std::string("There is no ") + what + '.');
        QCoreApplication::processEvents();
        QThread::msleep(10);
    }
}

QByteArray entry(const QByteArray &name, const QByteArray &exec, const QByteArray &more)
{
    QByteArray content =
        "[Desktop Entry]\nType=Application\nName=" + name + "\nExec=" + exec + '\n' + more;
    // As many translations as in the desktop entries of large projects.
    for (char first = 'a'; first <= 'j'; ++first) {
        for (char second = 'a'; second <= 'd'; ++second) {
            const QByteArray language{first, second};
            content += "Name[" + language + "]=" + name + ' ' + language + "\nComment[" + language +
                       "]=What the application does, in the language " + language + '\n';
        }
    }
    return content;
}

void furnish(VirtualDesktop &desktop)
{
    const QString folder = u".local/share/applications/"_s;
    for (int i = 0; i < applications; ++i) {
        const QByteArray number = QByteArray::number(i);
        desktop.write(folder + u"org.example.App"_s + QString::number(i) + u".desktop"_s,
                      entry("Application " + number, "/bin/true %u",
                            "Categories=Office;\nStartupWMClass=App" + number + '\n'));
    }
    desktop.write(folder + u"browser.desktop"_s,
                  entry("Browser", "/bin/true %u", "MimeType=x-scheme-handler/https;\n"));
    desktop.write(folder + u"viewer.desktop"_s,
                  entry("Viewer", "/bin/true %f", "MimeType=text/plain;inode/directory;\n"));
    desktop.write(folder + u"victim.desktop"_s,
                  entry("Victim", "/bin/true", "StartupWMClass=Victim\n"));
    desktop.install(u"debian-xterm.desktop"_s);
    desktop.write(u".config/mimeapps.list"_s,
                  "[Default Applications]\nx-scheme-handler/https=browser.desktop\n"
                  "text/plain=viewer.desktop\ninode/directory=viewer.desktop\n");
    for (int i = 0; i < filesInFolder; ++i)
        desktop.write(u"Downloads/file %1.pdf"_s.arg(i), "content");
    desktop.write(u"Documents/notes.txt"_s, "text");
    for (int i = 0; i < openWindows; ++i) {
        desktop.start(u"xterm"_s,
                      {u"-T"_s, u"Window %1"_s.arg(i), u"-e"_s, u"sleep"_s, u"10000"_s});
    }
    waitFor([] { return Executor::windowSummary().count(u"; "_s) == 7; }, "window");
}

QList<Action> actions(VirtualDesktop &desktop, int round)
{
    const auto startVictim = [&desktop] {
        desktop.start(u"xterm"_s, {u"-name"_s, u"victim"_s, u"-class"_s, u"Victim"_s, u"-e"_s,
                                   u"sleep"_s, u"10000"_s});
        waitFor([] { return Executor::runningApp(u"Victim"_s).has_value(); }, "application");
    };
    const auto writeRubbish = [&desktop] { desktop.write(u"Documents/rubbish.txt"_s, "rubbish"); };
    return {
        {u"list_windows"_s, {}},
        {u"open_app"_s, {{u"app"_s, u"xterm"_s}}},
        {u"open_app"_s, {{u"app"_s, u"Application 77"_s}}},
        {u"focus_app"_s, {{u"app"_s, u"Terminal"_s}}},
        {u"quit_app"_s, {{u"app"_s, u"Victim"_s}}, startVictim},
        {u"open_url"_s, {{u"url"_s, u"example.com/a/page"_s}}},
        {u"open_url"_s, {{u"url"_s, u"example.com"_s}, {u"app"_s, u"Browser"_s}}},
        {u"web_search"_s, {{u"query"_s, u"how tall is the tower"_s}}},
        {u"create_folder"_s, {{u"name"_s, u"Folder %1"_s.arg(round)}}},
        {u"find_files"_s, {{u"extension"_s, u"pdf"_s}, {u"query"_s, u"file"_s}}},
        {u"open_path"_s, {{u"path"_s, u"Documents/notes.txt"_s}}},
        {u"trash"_s, {{u"path"_s, u"Documents/rubbish.txt"_s}}, writeRubbish},
        {u"screenshot"_s, {}},
    };
}

// "open_app app=xterm"
std::string title(const Action &action)
{
    QString text = action.name;
    for (const auto &[key, value] : action.args.asKeyValueRange())
        text += u' ' + key + u'=' + value;
    // Without the numbers of the folders.
    return text.section(u" name="_s, 0, 0).toStdString();
}

// QCoro's waitFor() does not pass exceptions on.
QCoro::Task<QString> failure(AgentAction action)
{
    try {
        co_await Executor::run(action, std::nullopt);
    } catch (const ActionError &error) {
        co_return error.message;
    } catch (const PlatformError &error) {
        co_return QString::fromUtf8(error.what());
    }
    co_return QString();
}

double millisecondsOf(const Action &action)
{
    action.prepare();
    QThread::msleep(static_cast<unsigned long>(modelsThought.count()));
    const AgentAction call{QUuid::createUuid(), action.name, action.args};
    const Measure::Stopwatch watch;
    const QString message = QCoro::waitFor(failure(call));
    const double milliseconds = watch.seconds() * 1e3;
    if (!message.isEmpty())
        throw std::runtime_error(title(action) + ": " + message.toStdString());
    return milliseconds;
}

int measure()
{
    VirtualDesktop desktop;
    furnish(desktop);
    const Executor::PauseOverride withoutPauses([](auto, const auto &) {});
    std::map<std::string, std::vector<double>> samples;
    std::vector<double> observing;
    for (int round = 0; round < rounds; ++round) {
        Measure::say("actions: round " + std::to_string(round + 1));
        for (const Action &action : actions(desktop, round))
            samples[title(action)].push_back(millisecondsOf(action));
        QThread::msleep(static_cast<unsigned long>(modelsThought.count()));
        const Measure::Stopwatch watch;
        (void)Executor::observe();
        observing.push_back(watch.seconds() * 1e3);
    }
    samples["observe"] = observing;

    double slowest = 0;
    Measure::Json figures = Measure::Json::object();
    for (const auto &[name, milliseconds] : samples) {
        const Measure::Summary summary = Measure::summarize(milliseconds);
        slowest = std::max(slowest, summary.median);
        figures[name] = summary;
    }
    Measure::report("actions",
                    {{"own time of the slowest action, in milliseconds", slowest,
                      Measure::Goal::Side::atMost, limit}},
                    {{"milliseconds", figures}});
    return EXIT_SUCCESS;
}
} // namespace

int main(int argc, char *argv[])
{
    const QCoreApplication application(argc, argv);
    try {
        return measure();
    } catch (const std::exception &error) {
        Measure::say(error.what());
        return EXIT_FAILURE;
    }
}
