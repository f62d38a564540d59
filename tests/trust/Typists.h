#pragma once

#include "executor/ControlWalk.h"
#include "executor/Executor.h"
#include "platform/Accessibility.h"
#include "platform/Platform.h"
#include "tests/executor/Running.h"
#include "tests/support/Hands.h"
#include "tests/support/VirtualDesktop.h"
#include "tests/support/Waiting.h"

#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QTest>

#include <array>
#include <bit>
#include <csignal>
#include <memory>

#include <unistd.h>
#include <xcb/xcb.h>

using Qt::StringLiterals::operator""_s;

/// Helpers for tests of typing: windows that receive keys, and the state of the X server.
namespace Typists {
using Hands::keyboardMap;
using Hands::output;

/// The number of pressed keys according to the X server.
inline int keysDown()
{
    const std::unique_ptr<xcb_connection_t, decltype(&xcb_disconnect)> connection(
        xcb_connect(nullptr, nullptr), &xcb_disconnect);
    const std::unique_ptr<xcb_query_keymap_reply_t, decltype(&std::free)> reply(
        xcb_query_keymap_reply(connection.get(), xcb_query_keymap(connection.get()), nullptr),
        &std::free);
    int count = 0;
    for (const uint8_t keys : reply->keys)
        count += std::popcount(keys);
    return count;
}

inline std::optional<ProcessId> focused()
{
    return Platform::current().workspace().focusedProcess();
}

/// Whether the process has the focus; requests it if the window manager has not given it.
inline bool isInFront(ProcessId process)
{
    if (focused() == process)
        return true;
    Platform::current().workspace().activate(process);
    return false;
}

/// Gives the process the focus, without running this process's event loop.
inline void giveKeyboard(ProcessId process)
{
    const QDeadlineTimer limit(eventually);
    while (focused() != process) {
        if (limit.hasExpired())
            qFatal("The window does not come to the front.");
        Platform::current().workspace().activate(process);
        QTest::qSleep(10);
    }
}

/// Whether the panel of that process asks for approval: whether its card's button exists.
inline bool panelAsks(ProcessId panel)
{
    bool isFound = false;
    try {
        const auto tree =
            Platform::current().accessibility().open(panel, std::chrono::milliseconds(1500));
        constexpr auto roles = std::to_array<QStringView>({u"AXButton"});
        const auto isAllow = [](const QString &label) { return label == u"Allow"_s; };
        ControlWalk::run(*tree, {.elements = 3000, .depth = 12}, {roles, isAllow},
                         [&](const ControlWalk::Control &) {
                             isFound = true;
                             return ControlWalk::VisitResult::stop;
                         });
    } catch (const std::exception &) {
        return false;
    }
    return isFound;
}

/// A terminal with the given window class that records its input.
class Listener
{
public:
    Listener(VirtualDesktop &desktop, const QString &windowClass)
        : m_file(desktop.home(windowClass + u".typed"_s))
    {
        QFile::remove(m_file);
        QFile::remove(begun());
        m_process = &desktop.start(
            u"xterm"_s,
            {u"-u8"_s, u"-xrm"_s, u"*selectToClipboard: true"_s, u"-class"_s, windowClass, u"-T"_s,
             windowClass, u"-e"_s, u"sh"_s, u"-c"_s,
             u"stty -icanon -echo -isig min 1; : > '%1'; exec cat > '%2'"_s.arg(begun(), m_file)});
        if (!QTest::qWaitFor([&] { return isInFront(pid()) && QFile::exists(begun()); },
                             eventually))
            qFatal("The terminal does not come to the front.");
        // It drops keys until it has processed the focus change.
        const QDeadlineTimer limit(eventually);
        while (!received().endsWith('.')) {
            if (limit.hasExpired())
                qFatal("The terminal does not listen.");
            giveKeyboard(pid());
            (void)outcome(u"press_key"_s, {{u"key"_s, u"."_s}});
            (void)QTest::qWaitFor([&] { return received().endsWith('.'); }, 3000);
        }
        m_forgotten = received().size();
    }
    ~Listener()
    {
        m_process->kill();
        m_process->waitForFinished(-1);
    }
    Listener(const Listener &) = delete;
    Listener &operator=(const Listener &) = delete;

    [[nodiscard]] ProcessId pid() const { return ProcessId{m_process->processId()}; }
    [[nodiscard]] QByteArray received() const
    {
        QFile file(m_file);
        return file.open(QIODevice::ReadOnly) ? file.readAll().mid(m_forgotten) : QByteArray();
    }

private:
    [[nodiscard]] QString begun() const { return m_file + u".begun"_s; }

    QString m_file;
    QProcess *m_process = nullptr;
    qsizetype m_forgotten = 0;
};

/// A password dialog.
class PasswordDialog
{
public:
    explicit PasswordDialog(VirtualDesktop &desktop)
        : m_process(desktop.start(u"zenity"_s, {u"--password"_s}))
    {
        if (!QTest::qWaitFor([&] { return isInFront(pid()) && isSettled(); }, eventually))
            qFatal("The dialog does not come to the front.");
    }
    ~PasswordDialog()
    {
        m_process.kill();
        m_process.waitForFinished(-1);
    }
    PasswordDialog(const PasswordDialog &) = delete;
    PasswordDialog &operator=(const PasswordDialog &) = delete;

    [[nodiscard]] ProcessId pid() const { return ProcessId{m_process.processId()}; }

    /// If it answers, it has processed the focus change.
    [[nodiscard]] static bool isSettled() { return outcome(u"read_ui"_s).contains(u"OK"_s); }

    /// Types a mark, confirms the dialog, and returns what was typed before the mark.
    [[nodiscard]] QByteArray takeContent()
    {
        giveKeyboard(pid());
        const QDeadlineTimer limit(eventually);
        while (m_process.state() != QProcess::NotRunning && !limit.hasExpired()) {
            (void)output(u"xdotool"_s, {u"key"_s, u"bar"_s, u"Return"_s});
            (void)m_process.waitForFinished(1000);
        }
        const QByteArray content = m_process.readAllStandardOutput();
        return content.contains('|') ? content.left(content.indexOf('|')) : "no mark: " + content;
    }

private:
    QProcess &m_process;
};
} // namespace Typists
