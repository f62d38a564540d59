#pragma once

#include <QByteArray>
#include <QElapsedTimer>
#include <QMap>
#include <QString>
#include <QStringList>

#include <sys/types.h>

#include <optional>

/// A program started as a user would in a terminal, or as a script would with pipes. Killed, with
/// all that it started, when this goes away.
class Program
{
public:
    enum class Input { terminal, nothing };

    struct Options
    {
        QMap<QString, QString> environment = {}; ///< In place of the whole inherited one.
        Input input = Input::nothing;
        QByteArray typedAhead = {}; ///< On the terminal before the program starts.
        bool hasNetwork = true;     ///< Without: no internet socket can be made.
        bool isNohup = false;       ///< Started to outlive its terminal: it ignores SIGHUP.
    };

    Program(const QString &path, const QStringList &arguments, const Options &options);
    ~Program();
    Program(const Program &) = delete;
    Program &operator=(const Program &) = delete;

    /// Waits until the output (both streams on a terminal, else the standard output) holds the
    /// text; false when it ended or the time was up before.
    [[nodiscard]] bool waitForOutput(const QByteArray &text, int milliseconds = 30'000);
    /// Waits for the end; the exit status as a shell gives it (128 and the number of a signal),
    /// or nothing when the time was up.
    [[nodiscard]] std::optional<int> waitForExit(int milliseconds = 30'000);

    /// Types on the terminal.
    void type(const QByteArray &keys);
    /// Types an answer to the question that it has just printed, again if that was too early.
    void answer(const QByteArray &keys);
    /// Sends a signal to the program.
    void signal(int number);

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
