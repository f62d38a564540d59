#include "tests/live/LiveDesktop.h"

#include "executor/Executor.h"
#include "platform/Platform.h"
#include "platform/Screen.h"
#include "platform/Workspace.h"
#include "tests/executor/Running.h"

#include <QCoro/QCoroFuture>
#include <QDir>
#include <QFile>
#include <QJsonDocument>
#include <QRegularExpression>
#include <QStandardPaths>
#include <QTest>

#include <csignal>
#include <filesystem>

using namespace Qt::StringLiterals;

namespace {
constexpr int startLimit = 40'000;
const QString record = u".bystander"_s;

QString text(const QJsonValue &value)
{
    return value.toString();
}

Workspace &workspace()
{
    return Platform::current().workspace();
}

QString frontWindow()
{
    const QString all = Executor::windowSummary();
    return all.section(u"; "_s, 0, 0);
}

QString frontName()
{
    const std::optional<Application> front = workspace().frontmostApplication();
    return front ? front->name.value_or(QString()) : QString();
}

// The text of an office suite's flat file, without its markup.
QString wordsOf(QString document)
{
    static const QRegularExpression head(u"^.*<office:body>"_s,
                                         QRegularExpression::DotMatchesEverythingOption);
    static const QRegularExpression mark(u"<[^>]*>"_s);
    return document.remove(head).remove(mark).trimmed();
}

HttpServer::Answer page(const QJsonObject &content)
{
    const QString html = u"<!DOCTYPE html><html lang=en><head><meta charset=utf-8><title>%1</title>"
                         "</head><body>%2</body></html>"_s;
    return {.body = html.arg(text(content[u"title"_s]), text(content[u"body"_s])).toUtf8(),
            .headers = {"Content-Type: text/html; charset=utf-8"}};
}
} // namespace

LiveDesktop::LiveDesktop(const QString &windowManager)
    : m_desktop({.windowManager = windowManager == u"openbox"
                                      ? QStringList{windowManager, u"--sm-disable"_s}
                                      : QStringList{windowManager}})
{
    m_desktop.enableAccessibility();
    qputenv("GNOME_ACCESSIBILITY", "1");
    qputenv("QT_LINUX_ACCESSIBILITY_ALWAYS_ON", "1");
}

void LiveDesktop::install(const QList<LiveTheme> &themes)
{
    for (const LiveTheme &theme : themes) {
        for (const auto &program : theme.content[u"programs"_s].toArray()) {
            if (QStandardPaths::findExecutable(text(program)).isEmpty())
                qFatal("%s is not installed.", qPrintable(text(program)));
        }
        const QJsonObject entries = theme.content[u"entries"_s].toObject();
        for (auto entry = entries.begin(); entry != entries.end(); ++entry) {
            QStringList types;
            for (const auto &type : entry.value().toArray())
                types.append(text(type));
            m_desktop.install(entry.key(), types);
        }
        const QJsonObject own = theme.content[u"ownEntries"_s].toObject();
        for (auto entry = own.begin(); entry != own.end(); ++entry) {
            m_desktop.write(u".local/share/applications/"_s + entry.key(),
                            text(entry.value()).toUtf8());
        }
    }
    startBystander(themes);
}

void LiveDesktop::startBystander(const QList<LiveTheme> &themes)
{
    QStringList labels;
    for (const LiveTheme &theme : themes) {
        for (const LiveTask &task : theme.tasks) {
            for (const auto &step : task.content[u"steps"_s].toArray())
                labels.append(text(step[u"label"_s]));
        }
    }
    labels.removeDuplicates();
    labels.removeAll(QString());
    m_bystander =
        &m_desktop.start(u"" LIVE_BYSTANDER ""_s, QStringList{m_desktop.home(record)} + labels);
    if (!QTest::qWaitFor([&] { return Executor::windowSummary().contains(u"Bystander"); },
                         startLimit))
        qFatal("The bystander did not start.");
}

void LiveDesktop::bringBystanderForward() const
{
    const ProcessId bystander{m_bystander->processId()};
    const auto isInFront = [&] {
        if (workspace().focusedProcess() == bystander)
            return true;
        workspace().activate(bystander);
        return false;
    };
    if (!QTest::qWaitFor(isInFront, startLimit))
        qFatal("The bystander does not come to the front.");
}

QStringList LiveDesktop::touched(const LiveTask &task) const
{
    QStringList expected;
    for (const auto &effect : task.content[u"effect"_s].toArray())
        expected.append(text(effect[u"file"_s]));
    for (const auto &path : task.content[u"mayChange"_s].toArray())
        expected.append(text(path));
    expected.removeAll(QString());
    QStringList found;
    for (const QString &path : HomeFiles::of(m_desktop.home()).changesSince(m_files, expected))
        found.append(u"the file "_s + path);
    found += strayRequests(task);
    if (const QString noted = QString::fromUtf8(m_desktop.read(record).trimmed()); !noted.isEmpty())
        found.append(u"the bystander: "_s + noted);
    return found;
}

// Requests that are not effects of the task and whose address is in none of its steps.
QStringList LiveDesktop::strayRequests(const LiveTask &task) const
{
    QStringList expected{u"/favicon.ico"_s};
    for (const auto &effect : task.content[u"effect"_s].toArray())
        expected.append(text(effect[u"request"_s]));
    for (const auto &step : task.content[u"steps"_s].toArray()) {
        for (const QString &argument : {text(step[u"url"_s]), text(step[u"text"_s])})
            expected.append(argument.section(u"{server}"_s, 1).trimmed());
    }
    QStringList found;
    for (qsizetype i = m_firstRequest; i < m_server.requests().size(); ++i) {
        const QString path = QString::fromUtf8(m_server.requests()[i].path);
        if (!expected.contains(path))
            found.append(u"a request for "_s + path);
    }
    return found;
}

QString LiveDesktop::filledIn(QString words) const
{
    words.replace(u"{home}"_s, m_desktop.home());
    const QUrl root = m_server.url(u"/"_s);
    return words.replace(u"{server}"_s, root.toString().chopped(1));
}

void LiveDesktop::closeApplications(const QJsonArray &kept)
{
    const auto rest = [&] {
        QList<Application> applications = workspace().runningApplications();
        applications.removeIf([&](const Application &each) {
            return each.pid == ProcessId{m_bystander->processId()} ||
                   kept.contains(each.name.value_or(QString()));
        });
        return applications;
    };
    const auto areGone = [&] {
        const QList<Application> applications = rest();
        for (const Application &each : applications)
            ::kill(static_cast<pid_t>(each.pid), SIGKILL);
        return applications.isEmpty();
    };
    if (!QTest::qWaitFor(areGone, startLimit))
        qFatal("Some application does not go away.");
}

void LiveDesktop::keepPicture(const QString &file) const
{
    QDir().mkpath(QFileInfo(file).path());
    const auto captured = [](std::filesystem::path path) -> QCoro::Task<QString> {
        co_await Platform::current().screen().capture(path);
        co_return QString();
    };
    (void)outcome(captured(file.toStdString()));
}

void LiveDesktop::writeFiles(const QJsonObject &files) const
{
    for (auto file = files.begin(); file != files.end(); ++file)
        m_desktop.write(file.key(), filledIn(text(file.value())).toUtf8());
}

// Without hidden files: settings are kept, so that applications start faster.
void LiveDesktop::removeFiles() const
{
    const QDir home(m_desktop.home());
    for (const QFileInfo &each : home.entryInfoList(QDir::AllEntries | QDir::NoDotAndDotDot)) {
        if (each.isDir() && !each.isSymLink())
            QDir(each.filePath()).removeRecursively();
        else
            QFile::remove(each.filePath());
    }
    QFile keys(m_desktop.home(record));
    (void)keys.resize(0);
}

void LiveDesktop::prepare(const LiveTheme &theme, const LiveTask &task)
{
    closeApplications(theme.content[u"keeps"_s].toArray());
    removeFiles();
    for (const QString &folder : {u"Desktop"_s, u"Documents"_s, u"Downloads"_s, u"Pictures"_s})
        QDir(m_desktop.home()).mkpath(folder);
    m_desktop.write(u"Desktop/diary.txt"_s, "not a word about this\n");
    m_desktop.write(u"Downloads/ticket.txt"_s, "seat 12\n");
    writeFiles(theme.content[u"files"_s].toObject());
    writeFiles(task.content[u"files"_s].toObject());
    const QJsonObject pages = theme.content[u"pages"_s].toObject();
    for (auto each = pages.begin(); each != pages.end(); ++each)
        m_server.setAnswer(each.key(), page(each.value().toObject()));
    for (const auto &value : task.content[u"start"_s].toArray()) {
        const QJsonObject start = value.toObject();
        QStringList words;
        for (const auto &word : start[u"run"_s].toArray())
            words.append(filledIn(text(word)));
        (void)m_desktop.start(words.takeFirst(), words);
        const QString title = text(start[u"shows"_s]);
        if (!QTest::qWaitFor([&] { return Executor::windowSummary().contains(title); }, startLimit))
            qWarning("%s: no window “%s”, but %s", qPrintable(task.name()), qPrintable(title),
                     qPrintable(Executor::windowSummary()));
    }
    QTest::qWait(300); // applications that have just started may still request the focus
    if (text(task.content[u"begins"_s]) != u"in front")
        bringBystanderForward();
    m_firstRequest = m_server.requests().size();
    m_files = HomeFiles::of(m_desktop.home());
    QFile keys(m_desktop.home(record));
    (void)keys.resize(0);
}

QStringList LiveDesktop::missing(const LiveTask &task) const
{
    QStringList result;
    for (const auto &effect : task.content[u"effect"_s].toArray()) {
        if (!holds(effect.toObject()))
            result.append(
                QString::fromUtf8(QJsonDocument(effect.toObject()).toJson(QJsonDocument::Compact)));
    }
    return result;
}

bool LiveDesktop::holds(const QJsonObject &effect) const
{
    const auto asked = [&](const QString &path) {
        for (qsizetype i = m_firstRequest; i < m_server.requests().size(); ++i) {
            if (QString::fromUtf8(m_server.requests()[i].path) == path)
                return true;
        }
        return false;
    };
    if (effect.contains(u"request"_s))
        return asked(text(effect[u"request"_s]));
    if (effect.contains(u"noRequest"_s))
        return !asked(text(effect[u"noRequest"_s]));
    if (effect.contains(u"window"_s))
        return Executor::windowSummary().contains(filledIn(text(effect[u"window"_s])));
    if (effect.contains(u"noWindow"_s))
        return !Executor::windowSummary().contains(filledIn(text(effect[u"noWindow"_s])));
    if (effect.contains(u"front"_s))
        return frontName() == text(effect[u"front"_s]);
    if (effect.contains(u"frontWindow"_s))
        return frontWindow().contains(filledIn(text(effect[u"frontWindow"_s])));
    if (effect.contains(u"ended"_s))
        return m_desktop.processes(text(effect[u"ended"_s])).isEmpty();
    return fileHolds(effect);
}

bool LiveDesktop::fileHolds(const QJsonObject &effect) const
{
    const QFileInfo pattern(m_desktop.home(text(effect[u"file"_s])));
    const QFileInfoList found =
        QDir(pattern.path())
            .entryInfoList({pattern.fileName()},
                           QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden);
    if (effect.contains(u"gone"_s))
        return found.isEmpty();
    if (found.isEmpty())
        return false;
    QFile file(found.constFirst().filePath());
    const QString content =
        file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
    if (effect.contains(u"is"_s))
        return content == text(effect[u"is"_s]);
    if (effect.contains(u"reads"_s))
        return content.trimmed() == text(effect[u"reads"_s]);
    if (effect.contains(u"document"_s))
        return wordsOf(content) == text(effect[u"document"_s]);
    return true;
}
