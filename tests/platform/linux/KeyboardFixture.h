#pragma once

#include "platform/Platform.h"
#include "platform/Workspace.h"
#include "tests/executor/Running.h"
#include "tests/support/Hands.h"
#include "tests/support/VirtualDesktop.h"
#include "tests/support/Waiting.h"

#include <QObject>
#include <QProcess>
#include <QTest>

#include <cstdlib>
#include <memory>

#include <xcb/xcb.h>

/// The results of the actions.
[[nodiscard]] QString typed(const QString &text);
[[nodiscard]] QString pressed(const QString &key, const QString &modifiers = {});

using Hands::keyboardMap;
using Hands::output;

void setLayout(const QStringList &arguments);

// The keyboards of the server: the hardware, and the one for injected keys.
inline const QByteArray hardware = "Xvfb keyboard";
inline const QByteArray injected = "Virtual core XTEST keyboard";
constexpr xcb_keycode_t capsLock = 66;

/// The state of the X server's keyboard, and input like the user's.
class KeyboardServer
{
public:
    KeyboardServer();

    [[nodiscard]] xcb_connection_t *connection() const { return m_connection.get(); }
    [[nodiscard]] const xcb_screen_t *screen() const;

    /// The pressed keys.
    [[nodiscard]] QList<int> keysDown() const;
    /// The effective modifiers.
    [[nodiscard]] int modifiers() const;
    /// The id of the keyboard with that name.
    [[nodiscard]] int device(const QByteArray &keyboard) const;

    /// Presses or releases a key of the keyboard with that name.
    void press(const QByteArray &keyboard, xcb_keycode_t code, bool isDown) const;
    /// Presses and releases it.
    void strike(const QByteArray &keyboard, xcb_keycode_t code) const;

    [[nodiscard]] int group() const;
    void lockGroup(int group) const;

    /// Shows a window of this process, which the window manager activates.
    [[nodiscard]] xcb_window_t showWindow() const;
    void closeWindow(xcb_window_t window) const;

    /// Waits until the server has processed all requests.
    void sync() const;

private:
    std::unique_ptr<xcb_connection_t, decltype(&xcb_disconnect)> m_connection;
    int m_firstEvent = 0;
};

/// A window of another process that writes the text that it receives to a file.
class Receiver
{
public:
    /// Returns when the window has the focus.
    Receiver(VirtualDesktop &desktop, const QString &program, const QStringList &arguments,
             QString file);
    ~Receiver();
    Receiver(const Receiver &) = delete;
    Receiver &operator=(const Receiver &) = delete;

    [[nodiscard]] QProcess &process() { return m_process; }
    /// What it has received since the last forget().
    [[nodiscard]] QByteArray received() const;
    void forget();

private:
    QProcess &m_process;
    QString m_file;
    qsizetype m_forgotten = 0;
};

/// Tests of the keyboard on a virtual desktop. Each test must leave the keyboard as it was.
class KeyboardFixture : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void cleanup();

protected:
    /// A terminal that writes its input to the file with that name.
    [[nodiscard]] std::unique_ptr<Receiver> terminal(const QString &name);
    /// An editor with a saved file, all of whose text is selected.
    [[nodiscard]] std::unique_ptr<Receiver> editor(const QString &program,
                                                   const QStringList &options = {});

    std::unique_ptr<VirtualDesktop> m_desktop;
    std::unique_ptr<KeyboardServer> m_server;
    QByteArray m_map; ///< The keyboard map before the tests.
};
