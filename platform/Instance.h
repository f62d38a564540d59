#pragma once

#include <QByteArray>
#include <QString>

#include <functional>

/// Restricts the program to one process per desktop and sends the requests of later starts to the
/// running one. Main thread, with a QCoreApplication.
class Instance
{
public:
    enum class Request {
        open,   ///< Show the panel, or bring it to the front.
        toggle, ///< Do what the hot key does.
    };

    enum class Answer {
        taken,      ///< The running program has received it.
        notRunning, ///< There is no running instance.
        silent,     ///< The instance does not answer in time.
    };

    /// A file that makes the desktop start a program at login, as long as it is there.
    struct LoginItem
    {
        QString path;
        QByteArray content;
    };

    virtual ~Instance() = default;

    /// The content of the file that starts the program with the argument.
    [[nodiscard]] virtual LoginItem loginItem(const QString &program,
                                              const QString &argument) const = 0;

    /// Whether the calls below need an application object. Without one, a start that only sends its
    /// request does not appear on the desktop.
    [[nodiscard]] virtual bool needsApplication() const { return true; }

    /// Makes this process the running instance; false if there is one already. `received` is called
    /// on the main thread for requests of later starts. If the desktop cannot tell, every process
    /// may run. Blocks for a few seconds at most.
    [[nodiscard]] virtual bool claim(std::function<void(Request)> received) = 0;

    /// Sends a request to the running instance. May block for a few seconds, since an instance that
    /// was just started on a busy machine answers late.
    [[nodiscard]] virtual Answer handOver(Request request) = 0;
};
