#pragma once

#include "tests/live/LiveTask.h"
#include "tests/support/HttpServer.h"
#include "tests/support/VirtualDesktop.h"

#include <memory>

/// The desktop that the tasks are done on. Another application is in front when a task begins, and
/// writes down each key that reaches it.
class LiveDesktop
{
public:
    explicit LiveDesktop(const QString &windowManager);

    /// Installs what the themes start; an application that is missing aborts with a sentence.
    void install(const QList<LiveTheme> &themes);

    /// Brings the desktop into the state from which the task begins. Nothing of an earlier task is
    /// left, but for applications that the theme keeps.
    void prepare(const LiveTheme &theme, const LiveTask &task);

    /// What of the task's effect is missing; empty when all of it is there.
    [[nodiscard]] QStringList missing(const LiveTask &task) const;

    /// The keys that went to the application that no task is about.
    [[nodiscard]] QByteArray strayKeys() const;

    /// The step with the desktop's own places in it.
    [[nodiscard]] QString filledIn(QString text) const;

    void closeApplications(const QJsonArray &kept);

    /// Writes what the screen shows into that file.
    void keepPicture(const QString &file) const;

private:
    void writeFiles(const QJsonObject &files) const;
    void removeFiles() const;
    void startWitness();
    void bringWitnessForward() const;
    [[nodiscard]] bool holds(const QJsonObject &effect) const;
    [[nodiscard]] bool fileHolds(const QJsonObject &effect) const;

    VirtualDesktop m_desktop;
    HttpServer m_server;
    QProcess *m_witness = nullptr;
    qsizetype m_firstRequest = 0;
};
