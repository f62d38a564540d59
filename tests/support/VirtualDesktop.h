#pragma once

#include <QMap>
#include <QProcess>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

#include <list>
#include <memory>

using Qt::StringLiterals::operator""_s;

/// A private desktop: an X server in memory, a window manager (openbox by default), a session bus
/// and a home folder. The environment of this process refers to it, so it must exist before the
/// first use of the display, the bus or the home. The destructor ends all of it and every program
/// that was started on it; this also happens if this process is killed. One at a time per process.
class VirtualDesktop
{
public:
    struct Options
    {
        QString screen = u"1280x800x24"_s; ///< Its width, height and depth.
        QStringList serverArguments = {};
        /// The program and its arguments.
        QStringList windowManager = {u"openbox"_s, u"--sm-disable"_s};
        double scale = 1; ///< Set by the resolution of fonts.
        /// The desktop's name, for programs that adapt to it.
        QString desktop = u"Test"_s;
        /// The other programs of its session with their arguments, such as panels.
        QList<QStringList> companions = {};
        /// Files of services that programs may start on the session bus, without their ending.
        QStringList services = {};
        /// Files in the home folder, such as settings.
        QMap<QString, QByteArray> files = {};
        QMap<QByteArray, QByteArray> environment = {};
        /// Whether there is a system bus, with a fake login manager.
        bool hasSystemBus = false;
    };

    /// Aborts the test program with a sentence if a part cannot be started.
    VirtualDesktop();
    explicit VirtualDesktop(Options options);
    ~VirtualDesktop();
    VirtualDesktop(const VirtualDesktop &) = delete;
    VirtualDesktop &operator=(const VirtualDesktop &) = delete;

    /// The path of an entry in the home folder.
    [[nodiscard]] QString home(const QString &entry = {}) const;

    /// The content of a file in the home folder; empty if there is none.
    [[nodiscard]] QByteArray read(const QString &entry) const;

    /// Writes a file in the home folder and creates its folders.
    void write(const QString &entry, const QByteArray &content) const;

    /// Writes an executable shell script and returns its path.
    [[nodiscard]] QString writeScript(const QString &entry, const QByteArray &body) const;

    /// Installs an application of this machine on the desktop, by the name of its desktop entry, as
    /// the default for these content types. All others are not visible there.
    void install(const QString &entry, const QStringList &contentTypes = {});
    void setDefault(const QString &entry, const QStringList &contentTypes);

    /// Undoes install().
    void uninstall(const QString &entry) const;

    /// The processes on this desktop whose program's path ends with this text.
    [[nodiscard]] QList<qint64> processes(const QString &program) const;

    /// Starts a program, which the destructor ends.
    QProcess &start(const QString &program, const QStringList &arguments);

    /// Starts and enables the accessibility bus. Applications that were started before may not use
    /// it.
    void enableAccessibility();

    /// The X server's process id, to stop and resume it.
    [[nodiscard]] qint64 server() const;

    /// Ends the X server, or starts another one on the same display.
    void endServer();
    void startServer();

private:
    void startBus();
    void startSystemBus();
    void setScale() const;
    void configureOpenbox() const;
    void startWindowManager();
    void waitForOpenbox() const;
    void waitForWindowManager() const;
    void endRest() const;

    const Options m_options;
    QTemporaryDir m_folder;
    QMap<QString, QString> m_defaults; ///< Entries by content type.
    std::list<QProcess> m_processes;   ///< Ended in reverse order.
    std::unique_ptr<QProcess> m_server;
};
