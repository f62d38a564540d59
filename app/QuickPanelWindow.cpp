#include "app/QuickPanelWindow.h"

#include "platform/Platform.h"
#include "platform/Shell.h"

#include <QEvent>
#include <QGuiApplication>
#include <QQuickWindow>
#include <QScreen>

#include <utility>

QuickPanelWindow::QuickPanelWindow(QQuickWindow &window, std::function<void()> made)
    : m_window(window), m_made(std::move(made))
{
    m_window.installEventFilter(this);
    Platform::current().shell().add(*this);
}

QuickPanelWindow::~QuickPanelWindow()
{
    Platform::current().shell().forget(*this);
}

quintptr QuickPanelWindow::handle() const
{
    return m_window.winId();
}

bool QuickPanelWindow::isShown() const
{
    return m_window.isVisible() && !m_window.windowStates().testFlag(Qt::WindowMinimized);
}

bool QuickPanelWindow::hasFocus() const
{
    return QGuiApplication::focusWindow() == &m_window;
}

void QuickPanelWindow::show()
{
    m_window.setWindowStates(m_window.windowStates() & ~Qt::WindowStates(Qt::WindowMinimized));
    m_window.setVisible(true);
}

void QuickPanelWindow::hide()
{
    m_window.setVisible(false);
}

void QuickPanelWindow::minimise()
{
    m_window.setWindowStates(m_window.windowStates() | Qt::WindowMinimized);
}

void QuickPanelWindow::close()
{
    m_window.close();
}

QSize QuickPanelWindow::size() const
{
    return m_window.size();
}

QRect QuickPanelWindow::screenArea() const
{
    const QScreen *const screen = m_window.screen();
    return screen ? screen->availableGeometry() : QRect();
}

double QuickPanelWindow::scale() const
{
    return m_window.devicePixelRatio();
}

void QuickPanelWindow::moveTo(QPoint corner)
{
    m_window.setPosition(corner);
}

bool QuickPanelWindow::eventFilter(QObject *watched, QEvent *event)
{
    if (event->type() == QEvent::PlatformSurface &&
        static_cast<QPlatformSurfaceEvent *>(event)->surfaceEventType() ==
            QPlatformSurfaceEvent::SurfaceCreated)
        m_made();
    return QObject::eventFilter(watched, event);
}
