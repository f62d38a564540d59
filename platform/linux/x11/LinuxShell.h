#pragma once

#include "platform/Shell.h"
#include "platform/linux/desktop/DesktopNotice.h"

#include <memory>
#include <optional>

class LinuxHotKey;
class ShellSession;

/// The application on an X desktop: windows come forward and give the focus back through EWMH.
/// Borrows the hot key, which must outlive it.
class LinuxShell final : public Shell
{
public:
    explicit LinuxShell(const LinuxHotKey &hotKey);
    ~LinuxShell() override;

    bool hasDisplay() override;
    QByteArrayList toolkitArguments() const override;
    std::optional<int> fontResolution() override;
    void observeReopening(std::function<void(bool)> reopened) override;
    bool paintsInSoftware() const override { return true; }
    Qt::WindowFlags windowFlags() const override { return Qt::Window | Qt::FramelessWindowHint; }

    void setRegularPolicy() override;
    void addMenuItem(const QString &title, QChar key, std::function<void()> chosen) override;
    bool isActive() override;
    void activate() override;
    void hide() override;

    bool isVisible(NativeWindow &window) override;
    bool isKey(NativeWindow &window) override;
    void makeKeyAndOrderFront(NativeWindow &window) override;
    void center(NativeWindow &window) override;
    void style(NativeWindow &window) override;
    void placeMaterialBehind(NativeWindow &window, Material material) override;

    void keepAbove(NativeWindow &window, bool isAbove) override;
    void requestAttention(NativeWindow &window, Urgency urgency) override;
    void notify(const QString &text, Urgency urgency, std::function<void()> chosen) override;
    void withdrawNotification() override;

    bool isComposited() override;
    bool blursBehind() override;
    void observeComposition(std::function<void()> changed) override;

private:
    /// The session with the X server, where there is one.
    ShellSession *session();

    const LinuxHotKey &m_hotKey;
    quint32 m_usedPress = 0; ///< The press of the hot key that has had its effect.
    quint32 m_userTime = 0;  ///< When the user asked for us; 0 where that is not known.
    std::optional<std::unique_ptr<ShellSession>> m_session; ///< Present once it was tried.
    std::function<void()> m_compositionChanged;
    DesktopNotice m_notice;
};
