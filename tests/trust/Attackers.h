#pragma once

#include "models/LocalModel.h"
#include "tests/support/TestModel.h"
#include "tests/trust/Typists.h"

#include <QFileInfo>

#include <list>

using Qt::StringLiterals::operator""_s;

/// Two programs of ours on one desktop: one asks, and the other one's model tries to answer. Both
/// models do exactly as an attacker would want.
namespace Attackers {
inline QString reply(const QString &action, const QString &arguments = {})
{
    return u"{\"action\":\""_s + action + u'"' + (arguments.isEmpty() ? u""_s : u',' + arguments) +
           u'}';
}

inline QString typed(const QString &text)
{
    return reply(u"type_text"_s, u"\"text\":\""_s + text + u'"');
}

inline QString pressed(const QString &key, const QString &modifiers = {})
{
    return reply(u"press_key"_s, u"\"key\":\"%1\",\"modifiers\":\"%2\""_s.arg(key, modifiers));
}

inline QString clicked(const QString &label)
{
    return reply(u"click"_s, u"\"label\":\""_s + label + u'"');
}

inline QString opened(const QString &application)
{
    return reply(u"open_app"_s, u"\"app\":\""_s + application + u'"');
}

/// Answers do not count in the first 400 ms after a question is visible: an attack in that time
/// would prove nothing.
constexpr int questionSettles = 1000;

/// What the one that asks wants approved.
inline const QString trash = reply(u"trash"_s, u"\"path\":\"precious\""_s);

/// The user's own entries and folders, a model for each program, and a file that only an approval
/// may take away.
class Scene
{
public:
    Scene()
    {
        m_desktop.enableAccessibility();
        qputenv("TMUX_TMPDIR", qgetenv("XDG_RUNTIME_DIR"));
        write(u"app.quillon.Quillon"_s, "Quillon", QUILLON_PROGRAM " %u");
        // Another one than those that are there, and without a shell.
        write(u"xterm"_s, "XTerm", "xterm -e sh -c \"exec cat > elsewhere\"");
        // As the program is when no rule knows it: under another name.
        if (!QFile::copy(u"" QUILLON_PROGRAM ""_s, stranger()))
            qFatal("The program cannot be copied.");
        bringBack();
    }
    /// Nothing of the scene is left in the next one.
    void clear()
    {
        for (QProcess *const each : m_programs) {
            each->kill();
            each->waitForFinished(-1);
        }
        m_programs.clear();
        for (const QString &server : {u"red"_s, u"red2"_s}) {
            QProcess multiplexer;
            multiplexer.setStandardErrorFile(QProcess::nullDevice());
            multiplexer.start(u"tmux"_s, {u"-L"_s, server, u"kill-server"_s});
            if (!multiplexer.waitForFinished(eventually) ||
                multiplexer.error() == QProcess::FailedToStart)
                qFatal("tmux is not installed.");
        }
        for (const QString &file : {u"screen"_s, u"typed"_s, u"stolen"_s})
            QFile::remove(desktop().home(file));
        // What an attack has opened is no child of ours.
        const auto isQuiet = [this] {
            QList<qint64> left;
            for (const QString &program : {u"/quillon"_s, u"/stranger"_s, u"/xterm"_s})
                left += m_desktop.processes(program);
            for (const qint64 process : std::as_const(left))
                ::kill(static_cast<pid_t>(process), SIGKILL);
            return left.isEmpty();
        };
        if (!QTest::qWaitFor(isQuiet, eventually))
            qFatal("Programs are left.");
    }

    [[nodiscard]] VirtualDesktop &desktop() { return m_desktop; }
    /// The program under a name that does not say what it is.
    [[nodiscard]] QString stranger() const { return m_desktop.home(u"stranger"_s); }
    [[nodiscard]] QByteArray read(const QString &file) const { return m_desktop.read(file); }
    void write(const QString &id, const QByteArray &name, const QByteArray &exec,
               const QByteArray &more = {}) const
    {
        m_desktop.write(u".local/share/applications/"_s + id + u".desktop"_s,
                        "[Desktop Entry]\nType=Application\nName=" + name + "\nExec=" + exec +
                            '\n' + more);
    }

    /// Whether what was asked about has been left alone.
    [[nodiscard]] bool isPreciousThere() const { return read(u"precious"_s) == "precious"; }
    void bringBack() const { m_desktop.write(u"precious"_s, "precious"); }

    /// The arguments of "env" for a program with a model that gives these replies.
    [[nodiscard]] QStringList start(const QString &name, const QStringList &replies,
                                    const QString &program = u"" QUILLON_PROGRAM ""_s) const
    {
        const QString file = name + u"/Quillon/Models/"_s + LocalModel::catalog().first().fileName;
        m_desktop.write(file, {});
        QList<QByteArray> texts;
        for (const QString &each : replies)
            texts << each.toUtf8();
        texts << R"({"action":"done","message":"The end."})";
        TestModel::saying(texts).write(m_desktop.home(file));
        // The applications are everybody's.
        const QString folder = m_desktop.home(name);
        QFile::link(m_desktop.home(u".local/share/applications"_s), folder + u"/applications"_s);
        return {u"XDG_DATA_HOME="_s + folder, program};
    }
    /// The same with a task, as a line for a shell.
    [[nodiscard]] QString command(const QString &name, const QStringList &replies,
                                  const QString &program = u"" QUILLON_PROGRAM ""_s) const
    {
        return u"env "_s + start(name, replies, program).join(u' ') + u" --task Tidy"_s;
    }

    /// Runs a task that no terminal belongs to, and returns what it prints.
    [[nodiscard]] QString attack(const QStringList &replies) const
    {
        QProcess task;
        task.setStandardInputFile(QProcess::nullDevice());
        task.start(u"env"_s,
                   start(u"attacker"_s, replies) + QStringList{u"--task"_s, u"Help yourself"_s});
        if (!QTest::qWaitFor([&] { return task.state() == QProcess::NotRunning; }, eventually))
            qFatal("The attack does not end.");
        const QString printed = QString::fromUtf8(task.readAllStandardOutput());
        const bool wasDeclined = printed.endsWith(u"\nI didn't do that, as requested.\n"_s);
        if (!wasDeclined && !printed.endsWith(u"  ✔ The end.\n"_s))
            qFatal("The attack does not come to its end: %s", qPrintable(printed));
        return printed;
    }

    /// The panel, in front.
    [[nodiscard]] ProcessId openPanel(const QStringList &replies,
                                      const QString &program = u"" QUILLON_PROGRAM ""_s)
    {
        const QProcess &panel =
            keep(m_desktop.start(u"env"_s, start(u"panel"_s, replies, program)));
        const ProcessId process{panel.processId()};
        if (!QTest::qWaitFor([&] { return Typists::focused() == process; }, eventually))
            qFatal("The panel does not come to the front.");
        return process;
    }

    /// A terminal that runs the line, in front.
    [[nodiscard]] ProcessId openTerminal(const QString &shellLine,
                                         const QString &windowClass = u"XTerm"_s)
    {
        const QProcess &terminal =
            keep(m_desktop.start(u"xterm"_s, {u"-u8"_s, u"-class"_s, windowClass, u"-e"_s, u"sh"_s,
                                              u"-c"_s, u"cd \"$HOME\"; "_s + shellLine}));
        const ProcessId process{terminal.processId()};
        if (!QTest::qWaitFor([&] { return Typists::isInFront(process); }, eventually))
            qFatal("The terminal does not come to the front.");
        return process;
    }

private:
    QProcess &keep(QProcess &process)
    {
        m_programs.push_back(&process);
        return process;
    }

    VirtualDesktop m_desktop;
    std::list<QProcess *> m_programs;
};

/// What the user does at the keyboard.
inline void userPresses(const QStringList &keys)
{
    (void)Typists::output(u"xdotool"_s, QStringList(u"key"_s) + keys);
}

inline void userTypes(const QString &text)
{
    (void)Typists::output(u"xdotool"_s, {u"type"_s, u"--delay"_s, u"10"_s, text});
}
} // namespace Attackers
