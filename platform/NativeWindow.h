#pragma once

#include <QPoint>
#include <QRect>
#include <QSize>
#include <QtGlobal>

/// A window of the assistant's own as the toolkit that draws it sees it, for the Shell. Main
/// thread.
class NativeWindow
{
public:
    virtual ~NativeWindow() = default;

    /// The system's own handle: the X server's number, or the NSView. Another one after the window
    /// was closed.
    [[nodiscard]] virtual quintptr handle() const = 0;

    [[nodiscard]] virtual bool isShown() const = 0; ///< And not minimised.
    [[nodiscard]] virtual bool hasFocus() const = 0;
    [[nodiscard]] virtual bool canBecomeMain() const = 0;

    virtual void show() = 0; ///< Also when it is minimised.
    virtual void hide() = 0;
    virtual void minimise() = 0;
    virtual void close() = 0;

    /// In the toolkit's coordinates, of which each is scale() pixels.
    [[nodiscard]] virtual QSize size() const = 0;
    [[nodiscard]] virtual QSize minimumSize() const = 0;
    /// The screen that the user is on, without the desktop's bars.
    [[nodiscard]] virtual QRect screenArea() const = 0;
    [[nodiscard]] virtual double scale() const = 0;
    virtual void moveTo(QPoint corner) = 0;
    virtual void resize(QSize size) = 0;
};
