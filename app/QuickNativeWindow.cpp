#include "app/QuickNativeWindow.h"

#include "platform/Platform.h"
#include "platform/Shell.h"

#include <QCursor>
#include <QEvent>
#include <QGuiApplication>
#include <QQuickWindow>
#include <QScreen>

#include <utility>

namespace {
QScreen *currentScreen(const QQuickWindow &window)
{
    QScreen *const pointed = QGuiApplication::screenAt(QCursor::pos());
    return pointed ? pointed : window.screen();
}
} // namespace

QuickNativeWindow::QuickNativeWindow(QQuickWindow &window, std::function<void()> made)
    : m_window(window), m_made(std::move(made))
{
    m_window.installEventFilter(this);
    Platform::current().shell().setWindow(this);
}

QuickNativeWindow::~QuickNativeWindow()
{
    Platform::current().shell().setWindow(nullptr);
}

quintptr QuickNativeWindow::handle() const
{
    return m_window.winId();
}

bool QuickNativeWindow::isShown() const
{
    return m_window.isVisible() && !m_window.windowStates().testFlag(Qt::WindowMinimized);
}

bool QuickNativeWindow::hasFocus() const
{
    return QGuiApplication::focusWindow() == &m_window;
}

void QuickNativeWindow::show()
{
    m_window.setWindowStates(m_window.windowStates() & ~Qt::WindowStates(Qt::WindowMinimized));
    m_window.setVisible(true);
}

void QuickNativeWindow::hide()
{
    m_window.setVisible(false);
}

void QuickNativeWindow::minimise()
{
    m_window.setWindowStates(m_window.windowStates() | Qt::WindowMinimized);
}

void QuickNativeWindow::close()
{
    m_window.close();
}

QSize QuickNativeWindow::size() const
{
    return m_window.size().shrunkBy(margins());
}

QSize QuickNativeWindow::minimumSize() const
{
    return m_window.minimumSize().shrunkBy(margins());
}

QRect QuickNativeWindow::screen() const
{
    const QScreen *const screen = currentScreen(m_window);
    return screen ? screen->geometry() : QRect();
}

QRect QuickNativeWindow::screenArea() const
{
    const QScreen *const screen = currentScreen(m_window);
    return screen ? screen->availableGeometry() : QRect();
}

double QuickNativeWindow::scale() const
{
    return m_window.devicePixelRatio();
}

void QuickNativeWindow::moveTo(QPoint corner)
{
    m_window.setPosition(corner - QPoint(m_margin, m_margin));
}

void QuickNativeWindow::resize(QSize size)
{
    m_window.resize(size.grownBy(margins()));
}

void QuickNativeWindow::setMargin(int margin)
{
    const QSize visible = size();
    const QSize smallest = minimumSize();
    const QPoint corner = m_window.position() + QPoint(m_margin, m_margin);
    m_margin = margin;
    // Before the new size, which it would limit.
    m_window.setMinimumSize(smallest.grownBy(margins()));
    resize(visible);
    if (m_window.isVisible())
        moveTo(corner);
}

bool QuickNativeWindow::eventFilter(QObject *watched, QEvent *event)
{
    if (event->type() == QEvent::PlatformSurface &&
        static_cast<QPlatformSurfaceEvent *>(event)->surfaceEventType() ==
            QPlatformSurfaceEvent::SurfaceCreated)
        m_made();
    return QObject::eventFilter(watched, event);
}
