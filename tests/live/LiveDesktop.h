#pragma once

#include "tests/live/HomeFiles.h"
#include "tests/live/LiveTask.h"
#include "tests/support/HttpServer.h"
#include "tests/support/VirtualDesktop.h"

#include <memory>

/// The desktop of the tasks. When a task begins, another application is in front, which records the
/// keys that it receives and its buttons that are pressed. It has one of every label that the tasks
/// click.
class LiveDesktop
{
public:
    explicit LiveDesktop(const QString &windowManager);

    /// Installs the applications of the themes; aborts with a sentence if one is missing.
    void install(const QList<LiveTheme> &themes);

    /// Prepares the desktop for the task. Removes everything of earlier tasks, except for
    /// applications that the theme keeps.
    void prepare(const LiveTheme &theme, const LiveTask &task);

    /// The missing effects of the task; empty if it has succeeded.
    [[nodiscard]] QStringList missing(const LiveTask &task) const;

    /// Changes since prepare() that the task does not name: in the other application, the user's
    /// files, or the requests to the server.
    [[nodiscard]] QStringList touched(const LiveTask &task) const;

    /// The step with its placeholders replaced by paths of the desktop.
    [[nodiscard]] QString filledIn(QString text) const;

    void closeApplications(const QJsonArray &kept);

    /// Writes a screenshot to the file.
    void keepPicture(const QString &file) const;

private:
    void writeFiles(const QJsonObject &files) const;
    void removeFiles() const;
    void startBystander(const QList<LiveTheme> &themes);
    void bringBystanderForward() const;
    [[nodiscard]] QStringList strayRequests(const LiveTask &task) const;
    [[nodiscard]] bool holds(const QJsonObject &effect) const;
    [[nodiscard]] bool fileHolds(const QJsonObject &effect) const;

    VirtualDesktop m_desktop;
    HttpServer m_server;
    QProcess *m_bystander = nullptr;
    qsizetype m_firstRequest = 0;
    HomeFiles m_files;
};
