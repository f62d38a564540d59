#pragma once

#include <QMap>
#include <QProcess>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

#include <list>
#include <memory>

using Qt::StringLiterals::operator""_s;

/// A desktop of one's own: an X server in memory, a window manager, a session bus and a home
/// folder. The window manager is openbox unless a test is about another one. The environment of
/// this process points to it, so it must be there before anything asks for the display, the bus or
/// the home. All of it goes with the object, with all that was started on it by whomever, and also
/// when this process dies. One at a time in a process.
class VirtualDesktop
{
public:
    struct Options
    {
        QString screen = u"1280x800x24"_s; ///< Its width, height and depth.
        QStringList serverArguments = {};
        /// The program and its arguments.
        QStringList windowManager = {u"openbox"_s, u"--sm-disable"_s};
        double scale = 1; ///< As desktops tell toolkits of it: by the resolution of fonts.
    };

    /// Aborts the test program with a sentence where a part cannot be started.
    VirtualDesktop();
    explicit VirtualDesktop(const Options &options);
    ~VirtualDesktop();
    VirtualDesktop(const VirtualDesktop &) = delete;
    VirtualDesktop &operator=(const VirtualDesktop &) = delete;

    /// The path of an entry in the home folder, which is there.
    [[nodiscard]] QString home(const QString &entry = {}) const;

    /// The content of a file in the home folder; nothing where there is none.
    [[nodiscard]] QByteArray read(const QString &entry) const;

    /// Writes a file into the home folder, and the folders above it.
    void write(const QString &entry, const QByteArray &content) const;

    /// Writes an executable shell script and returns its path.
    [[nodiscard]] QString writeScript(const QString &entry, const QByteArray &body) const;

    /// Takes an application of this machine into the desktop, by the name of its desktop entry, as
    /// the default for those kinds of files and addresses. All others stay unknown here.
    void install(const QString &entry, const QStringList &contentTypes = {});
    void setDefault(const QString &entry, const QStringList &contentTypes);

    /// Takes it away again.
    void uninstall(const QString &entry) const;

    /// The processes on this desktop that run that program, by the end of its path.
    [[nodiscard]] QList<qint64> processes(const QString &program) const;

    /// Starts a program that lives no longer than this object, with its output to read.
    QProcess &start(const QString &program, const QStringList &arguments);

    /// Brings up the accessibility bus and enables it. Applications that were started before need
    /// not be on it.
    void enableAccessibility();

    /// The X server's process, for stopping and resuming it.
    [[nodiscard]] qint64 server() const;

    /// Ends the X server, or starts another on the same display.
    void endServer();
    void startServer();

private:
    void startBus();
    void setScale();
    void configureOpenbox() const;
    void startWindowManager();
    void waitForOpenbox() const;
    void waitForWindowManager() const;
    void endRest() const;

    const Options m_options;
    QTemporaryDir m_folder;
    QMap<QString, QString> m_defaults; ///< Entries by content type.
    std::list<QProcess> m_processes;   ///< Ended in the opposite order.
    std::unique_ptr<QProcess> m_server;
};
