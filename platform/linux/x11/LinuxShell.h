#pragma once

#include "platform/Shell.h"
#include "platform/linux/desktop/DesktopNotice.h"
#include "platform/linux/desktop/StatusItem.h"

#include <memory>
#include <optional>

class LinuxHotKey;
class ShellSession;

/// The application on an X desktop, which activates its windows and returns the focus by EWMH. The
/// hot key must outlive it.
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
    void showStatusItem(std::function<void()> chosen) override;

    bool isComposited() override;
    bool blursBehind() override;
    void observeComposition(std::function<void()> changed) override;

private:
    /// The session with the X server, if there is one.
    ShellSession *session();

    const LinuxHotKey &m_hotKey;
    quint32 m_usedPress = 0; ///< The time of the hot key's press that was handled.
    quint32 m_userTime = 0;  ///< The time of the user's action; 0 if unknown.
    std::optional<std::unique_ptr<ShellSession>> m_session; ///< Set after the first attempt.
    std::function<void()> m_compositionChanged;
    DesktopNotice m_notice;
    std::optional<StatusItem> m_statusItem;
};
