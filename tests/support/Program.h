#pragma once

#include "tests/support/Eventually.h"

#include <QByteArray>
#include <QElapsedTimer>
#include <QMap>
#include <QString>
#include <QStringList>

#include <sys/types.h>

#include <optional>

/// A program that is started in a terminal, or with pipes as by a script. The destructor kills it
/// with its child processes.
class Program
{
public:
    enum class Input { terminal, nothing };

    struct Options
    {
        QMap<QString, QString> environment = {}; ///< Replaces the inherited one.
        Input input = Input::nothing;
        QByteArray typedAhead = {}; ///< Typed before the program starts.
        bool hasNetwork = true;     ///< If false, it cannot create internet sockets.
        bool isNohup = false;       ///< Ignores SIGHUP, to outlive its terminal.
    };

    Program(const QString &path, const QStringList &arguments, const Options &options);
    ~Program();
    Program(const Program &) = delete;
    Program &operator=(const Program &) = delete;

    /// Waits until the output (both streams on a terminal, otherwise standard output) contains the
    /// text; false if it has ended or the time is up.
    [[nodiscard]] bool waitForOutput(const QByteArray &text, int milliseconds = eventually);
    /// Waits for the end; returns the exit status like a shell (128 plus the number of a signal),
    /// or nothing if the time is up.
    [[nodiscard]] std::optional<int> waitForExit(int milliseconds = eventually);

    /// Types on the terminal.
    void type(const QByteArray &keys) const;
    /// Types an answer to the question that it has just printed; repeats it if that was too early.
    void answer(const QByteArray &keys);
    /// Sends a signal to the program.
    void signal(int number) const;

    [[nodiscard]] QString output() const { return QString::fromUtf8(m_output); }
    [[nodiscard]] QString errors() const { return QString::fromUtf8(m_errors); }
    [[nodiscard]] pid_t pid() const { return m_pid; }

private:
    bool readSome(int milliseconds);
    static void drain(int &descriptor, QByteArray &into);

    pid_t m_pid = -1;
    int m_outputEnd = -1;
    int m_errorsEnd = -1;
    int m_inputEnd = -1;
    QByteArray m_output;
    QByteArray m_errors;
    std::optional<int> m_status;
};
