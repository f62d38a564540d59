#pragma once

#include "platform/NativeWindow.h"

#include <QMargins>
#include <QObject>

#include <functional>

class QQuickWindow;

/// A Qt Quick window for the shell, with which it is registered while it exists. The window must
/// outlive it. Main thread.
class QuickNativeWindow final : public QObject, public NativeWindow
{
public:
    /// Calls `made` when the native window was created: before it is first shown, and again after
    /// it was closed.
    QuickNativeWindow(QQuickWindow &window, std::function<void()> made);
    ~QuickNativeWindow() override;
    QuickNativeWindow(const QuickNativeWindow &) = delete;
    QuickNativeWindow &operator=(const QuickNativeWindow &) = delete;

    [[nodiscard]] quintptr handle() const override;
    [[nodiscard]] bool isShown() const override;
    [[nodiscard]] bool hasFocus() const override;
    [[nodiscard]] bool canBecomeMain() const override { return true; }
    void show() override;
    void hide() override;
    void minimise() override;
    void close() override;
    [[nodiscard]] QSize size() const override;
    [[nodiscard]] QSize minimumSize() const override;
    [[nodiscard]] QRect screen() const override;
    [[nodiscard]] QRect screenArea() const override;
    [[nodiscard]] double scale() const override;
    void moveTo(QPoint corner) override;
    void resize(QSize size) override;
    [[nodiscard]] int margin() const override { return m_margin; }
    void setMargin(int margin) override;

    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    [[nodiscard]] QMargins margins() const { return {m_margin, m_margin, m_margin, m_margin}; }

    QQuickWindow &m_window;
    int m_margin = 0;
    const std::function<void()> m_made;
};
