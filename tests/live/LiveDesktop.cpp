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
const QString record = u".keys"_s;

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
        for (const QJsonValue &program : theme.content[u"programs"_s].toArray()) {
            if (QStandardPaths::findExecutable(text(program)).isEmpty())
                qFatal("%s is not installed.", qPrintable(text(program)));
        }
        const QJsonObject entries = theme.content[u"entries"_s].toObject();
        for (auto entry = entries.begin(); entry != entries.end(); ++entry) {
            QStringList types;
            for (const QJsonValue &type : entry.value().toArray())
                types.append(text(type));
            m_desktop.install(entry.key(), types);
        }
        const QJsonObject own = theme.content[u"ownEntries"_s].toObject();
        for (auto entry = own.begin(); entry != own.end(); ++entry) {
            m_desktop.write(u".local/share/applications/"_s + entry.key(),
                            text(entry.value()).toUtf8());
        }
    }
    startWitness();
}

void LiveDesktop::startWitness()
{
    const QString script = m_desktop.writeScript(
        u".witness"_s, "stty raw -echo\nexec cat > \"$HOME/" + record.toUtf8() + "\"\n");
    m_witness = &m_desktop.start(u"urxvt"_s, {u"-title"_s, u"Bystander"_s, u"-geometry"_s,
                                              u"30x5+900+600"_s, u"-e"_s, script});
    if (!QTest::qWaitFor([&] { return Executor::windowSummary().contains(u"Bystander"); },
                         startLimit))
        qFatal("The bystander did not start.");
}

void LiveDesktop::bringWitnessForward() const
{
    const ProcessId witness{m_witness->processId()};
    const auto isInFront = [&] {
        if (workspace().focusedProcess() == witness)
            return true;
        workspace().activate(witness);
        return false;
    };
    if (!QTest::qWaitFor(isInFront, startLimit))
        qFatal("The bystander does not come to the front.");
}

QByteArray LiveDesktop::strayKeys() const
{
    return m_desktop.read(record);
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
            return each.pid == ProcessId{m_witness->processId()} ||
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
    writeFiles(theme.content[u"files"_s].toObject());
    writeFiles(task.content[u"files"_s].toObject());
    const QJsonObject pages = theme.content[u"pages"_s].toObject();
    for (auto each = pages.begin(); each != pages.end(); ++each)
        m_server.setAnswer(each.key(), page(each.value().toObject()));
    for (const QJsonValue &value : task.content[u"start"_s].toArray()) {
        const QJsonObject start = value.toObject();
        QStringList words;
        for (const QJsonValue &word : start[u"run"_s].toArray())
            words.append(filledIn(text(word)));
        (void)m_desktop.start(words.takeFirst(), words);
        const QString title = text(start[u"shows"_s]);
        if (!QTest::qWaitFor([&] { return Executor::windowSummary().contains(title); }, startLimit))
            qWarning("%s: no window “%s”, but %s", qPrintable(task.name()), qPrintable(title),
                     qPrintable(Executor::windowSummary()));
    }
    QTest::qWait(300); // applications that have just started may still request the focus
    if (text(task.content[u"begins"_s]) != u"in front")
        bringWitnessForward();
    m_firstRequest = m_server.requests().size();
    QFile keys(m_desktop.home(record));
    (void)keys.resize(0);
}

QStringList LiveDesktop::missing(const LiveTask &task) const
{
    QStringList result;
    for (const QJsonValue &effect : task.content[u"effect"_s].toArray()) {
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
    if (effect.contains(u"has"_s))
        return content.contains(text(effect[u"has"_s]));
    if (effect.contains(u"hasNot"_s))
        return !content.contains(text(effect[u"hasNot"_s]));
    if (effect.contains(u"starts"_s))
        return content.startsWith(text(effect[u"starts"_s]));
    return true;
}
