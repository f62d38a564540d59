#include "app/QuickNativeWindow.h"

#include "platform/Platform.h"
#include "platform/Shell.h"

#include <QCursor>
#include <QEvent>
#include <QGuiApplication>
#include <QQuickWindow>
#include <QScreen>

#include <utility>

QuickNativeWindow::QuickNativeWindow(QQuickWindow &window, std::function<void()> made)
    : m_window(window), m_made(std::move(made))
{
    m_window.installEventFilter(this);
    Platform::current().shell().add(*this);
}

QuickNativeWindow::~QuickNativeWindow()
{
    Platform::current().shell().forget(*this);
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
    return m_window.size();
}

QSize QuickNativeWindow::minimumSize() const
{
    return m_window.minimumSize();
}

QRect QuickNativeWindow::screenArea() const
{
    const QScreen *const pointed = QGuiApplication::screenAt(QCursor::pos());
    const QScreen *const screen = pointed ? pointed : m_window.screen();
    return screen ? screen->availableGeometry() : QRect();
}

double QuickNativeWindow::scale() const
{
    return m_window.devicePixelRatio();
}

void QuickNativeWindow::moveTo(QPoint corner)
{
    m_window.setPosition(corner);
}

void QuickNativeWindow::resize(QSize size)
{
    m_window.resize(size);
}

bool QuickNativeWindow::eventFilter(QObject *watched, QEvent *event)
{
    if (event->type() == QEvent::PlatformSurface &&
        static_cast<QPlatformSurfaceEvent *>(event)->surfaceEventType() ==
            QPlatformSurfaceEvent::SurfaceCreated)
        m_made();
    return QObject::eventFilter(watched, event);
}
