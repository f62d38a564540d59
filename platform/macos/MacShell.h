#pragma once

#include "platform/Shell.h"

/// The application and its windows in AppKit.
class MacShell final : public Shell, private Dock, private MenuBar
{
public:
    Dock *dock() override { return this; }
    MenuBar *menuBar() override { return this; }

    bool hasDisplay() override;
    ToolkitSettings toolkitSettings() override { return {}; }

    bool isActive() override;
    void activate() override;
    void hide() override;
    void announce(const QString &text, quint32 element) override;

    Qt::WindowFlags windowFlags() const override;
    bool isVisible(NativeWindow &window) override;
    bool isKey(NativeWindow &window) override;
    void makeKeyAndOrderFront(NativeWindow &window) override;
    void center(NativeWindow &window) override;
    void style(NativeWindow &window) override;
    void placeMaterialBehind(NativeWindow &window, Material material) override;
    void keepAbove(NativeWindow &window, bool isAbove) override;
    /// The icon in the Dock bounces until the application is in front.
    void requestAttention(NativeWindow &window, Urgency urgency) override;

private:
    void setRegularPolicy() override;
    void observeReopening(std::function<void(bool)> reopened) override;
    void addItem(const QString &title, QChar key, std::function<void()> chosen) override;
};
