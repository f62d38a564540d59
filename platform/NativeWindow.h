#pragma once

#include <QPoint>
#include <QRect>
#include <QSize>
#include <QtGlobal>

/// One of the assistant's windows, implemented with the toolkit that draws it, for the Shell. Main
/// thread.
class NativeWindow
{
public:
    virtual ~NativeWindow() = default;

    /// The system's handle: the X server's window id, or the NSView. Changes when the window was
    /// closed.
    [[nodiscard]] virtual quintptr handle() const = 0;

    [[nodiscard]] virtual bool isShown() const = 0; ///< And is not minimised.
    [[nodiscard]] virtual bool hasFocus() const = 0;
    [[nodiscard]] virtual bool canBecomeMain() const = 0;

    virtual void show() = 0; ///< Also if it is minimised.
    virtual void hide() = 0;
    virtual void minimise() = 0;
    virtual void close() = 0;

    // Sizes and positions are those of what the user sees, without the margin, in the toolkit's
    // units of scale() pixels. Only the corners of screens are in pixels.

    [[nodiscard]] virtual QSize size() const = 0;
    [[nodiscard]] virtual QSize minimumSize() const = 0;
    /// The user's current screen.
    [[nodiscard]] virtual QRect screen() const = 0;
    /// Its available area, without the desktop's bars, as far as the toolkit knows them.
    [[nodiscard]] virtual QRect screenArea() const = 0;
    [[nodiscard]] virtual double scale() const = 0;
    virtual void moveTo(QPoint corner) = 0;
    virtual void resize(QSize size) = 0;

    /// The width of the transparent margin around the window in which it draws its own shadow.
    [[nodiscard]] virtual int margin() const = 0;
    /// Changes the margin; what the user sees stays at its place.
    virtual void setMargin(int margin) = 0;
};
