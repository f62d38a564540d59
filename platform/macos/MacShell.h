#pragma once

#include "platform/Shell.h"

/// The application and its windows in AppKit.
class MacShell final : public Shell
{
public:
    bool hasDisplay() override;
    QByteArrayList toolkitArguments() const override { return {}; }
    void observeReopening(std::function<void(bool)> reopened) override;
    std::optional<int> fontResolution() override { return std::nullopt; }
    bool paintsInSoftware() const override { return false; }
    Qt::WindowFlags windowFlags() const override;

    // The bundle has the icon.
    void setIcon(std::function<Picture(int)>) override {}
    void setRegularPolicy() override;
    void addMenuItem(const QString &title, QChar key, std::function<void()> chosen) override;
    bool isActive() override;
    void activate() override;
    void hide() override;
    void announce(const QString &text, quint32 element) override;

    bool isVisible(NativeWindow &window) override;
    bool isKey(NativeWindow &window) override;
    void makeKeyAndOrderFront(NativeWindow &window) override;
    void center(NativeWindow &window) override;
    void style(NativeWindow &window) override;
    void placeMaterialBehind(NativeWindow &window, Material material) override;

    void keepAbove(NativeWindow &window, bool isAbove) override;
    void requestAttention(NativeWindow &window, Urgency urgency) override;
    // Instead, the icon in the Dock bounces until the application is in front.
    void notify(const QString &, Urgency, std::function<void()>) override {}
    void withdrawNotification() override {}
    // No status icon: the icon in the Dock shows the panel, and items in the menu bar are for
    // showing a state.
    void showStatusItem(std::function<void()>) override {}

    bool isComposited() override { return true; }
    bool blursBehind() override { return true; }
    // The system itself draws the shadow of every window.
    bool wantsDrawnShadow() override { return false; }
    void applyMargin(NativeWindow &) override {}
    void observeComposition(std::function<void()>) override {}
};
