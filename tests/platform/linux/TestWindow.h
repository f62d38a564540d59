#pragma once

#include "platform/Workspace.h"
#include "tests/support/VirtualDesktop.h"
#include "tests/support/Waiting.h"

#include <QByteArray>
#include <QProcess>
#include <QString>
#include <QStringList>
#include <QTest>

using Qt::StringLiterals::operator""_s;

/// A window of another process on the virtual desktop. It is mapped when the constructor returns.
class TestWindow
{
public:
    /// The class as "instance.Class"; for the other arguments, see test-window.cpp.
    TestWindow(VirtualDesktop &desktop, const QString &title, const QString &windowClass,
               const QStringList &special = {})
        : m_process(desktop.start(u"" TEST_WINDOW ""_s, QStringList{title, windowClass} + special))
    {
        expect("shown");
    }

    ~TestWindow()
    {
        m_process.kill();
        m_process.waitForFinished();
    }
    TestWindow(const TestWindow &) = delete;
    TestWindow &operator=(const TestWindow &) = delete;

    [[nodiscard]] ProcessId pid() const { return ProcessId{m_process.processId()}; }

    [[nodiscard]] bool isThere() const { return m_process.state() != QProcess::NotRunning; }

    void iconify() { m_process.write("iconify\n"); }

    void end()
    {
        if (!isThere())
            return;
        m_process.closeWriteChannel();
        m_process.waitForFinished();
    }

    /// Waits until the window has written that line.
    void expect(const QByteArray &line)
    {
        while (true) {
            while (m_process.canReadLine()) {
                if (m_process.readLine().trimmed() == line)
                    return;
            }
            if (!m_process.waitForReadyRead(eventually))
                qFatal("The test window never wrote \"%s\".", line.constData());
        }
    }

private:
    QProcess &m_process;
};
