#pragma once

#include "tests/platform/linux/TestWindow.h"
#include "tests/support/Hands.h"
#include "tests/support/VirtualDesktop.h"
#include "tests/support/Waiting.h"

#include <QProcess>
#include <QRect>
#include <QTest>

#include <csignal>
#include <memory>
#include <optional>

using Qt::StringLiterals::operator""_s;

inline const QRect inTheMiddle(280, 90, 720, 620); ///< On a screen of 1280 by 800.

/// A start of the program, with its output. The destructor kills it.
class Start
{
public:
    explicit Start(const QStringList &arguments = {}, const QProcessEnvironment &environment =
                                                          QProcessEnvironment::systemEnvironment())
    {
        m_process.setProcessEnvironment(environment);
        m_process.start(u"" PANEL_PROGRAM ""_s, arguments);
        if (!m_process.waitForStarted())
            qFatal("The program does not start.");
    }

    ~Start() { end(); }
    Start(const Start &) = delete;
    Start &operator=(const Start &) = delete;

    [[nodiscard]] bool isRunning() const { return m_process.state() != QProcess::NotRunning; }
    [[nodiscard]] int exitCode() const { return m_process.exitCode(); }
    [[nodiscard]] ProcessId pid() const { return ProcessId{m_process.processId()}; }
    [[nodiscard]] QString errors() { return QString::fromUtf8(m_process.readAllStandardError()); }

    void signal(int number) const { ::kill(static_cast<pid_t>(m_process.processId()), number); }

    void end()
    {
        m_process.kill();
        m_process.waitForFinished(-1);
    }

private:
    QProcess m_process;
};

/// Runs the program with its panel like for a user: real windows, real keys, other applications.
class PanelOnDesktopFixture : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { m_desktop = std::make_unique<VirtualDesktop>(); }
    void cleanup() { QTRY_VERIFY(look().windows.isEmpty()); }

protected:
    [[nodiscard]] X11Snapshot look() { return m_screen.snapshot().value_or(X11Snapshot()); }
    [[nodiscard]] QString activeTitle()
    {
        const std::optional<X11Window> active = look().active;
        return active ? active->title.value_or(u"untitled"_s) : u"nothing"_s;
    }
    [[nodiscard]] std::optional<X11Window> panel()
    {
        for (const X11Window &window : look().windows) {
            if (window.title == u"Quillon")
                return window;
        }
        return std::nullopt;
    }
    [[nodiscard]] bool panelIsSeen()
    {
        const std::optional<X11Window> found = panel();
        return found && found->onScreen;
    }
    [[nodiscard]] bool panelHasTheKeyboard()
    {
        const std::optional<X11Window> found = panel();
        // According to the window manager and the X server.
        return found && look().active && look().active->id == found->id &&
               Hands::xdotool({u"getwindowfocus"_s}).trimmed() == Hands::number(*found).toLatin1();
    }

    std::unique_ptr<VirtualDesktop> m_desktop;
    X11Desktop m_screen;
};
