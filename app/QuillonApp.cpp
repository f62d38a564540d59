#include "app/QuillonApp.h"

#include "app/EditMenu.h"
#include "app/HotKey.h"
#include "app/VisualEffect.h"
#include "app/WindowStyler.h"
#include "platform/GlobalHotKey.h"
#include "platform/Keyboard.h"
#include "platform/Platform.h"
#include "platform/Shell.h"

#include <QGuiApplication>
#include <QQmlComponent>
#include <QQmlError>
#include <QQuickWindow>
#include <QTimer>

using namespace Qt::StringLiterals;

namespace {
Shell &shell()
{
    return Platform::current().shell();
}
} // namespace

QuillonApp::QuillonApp(const Views &views) : m_session(m_models)
{
    QGuiApplication::setQuitOnLastWindowClosed(
        AppDelegate::applicationShouldTerminateAfterLastWindowClosed());
    shell().setIcon(views.drawIcon);
    QString problem;
    const auto listening = QObject::connect(&m_engine, &QQmlEngine::warnings, &m_engine,
                                            [&problem](const QList<QQmlError> &errors) {
                                                if (problem.isEmpty())
                                                    problem = errors.first().toString();
                                            });
    QVariantMap properties = views.prepare(m_engine, m_models, m_session);
    // The engine's thread begins to load the views while this one asks the desktop.
    const QQmlComponent ahead(&m_engine, views.rootFile, QQmlComponent::Asynchronous);
    m_panel.emplace();
    properties.insert(u"panel"_s, QVariant::fromValue(&*m_panel));
    properties.insert(u"flags"_s, QVariant::fromValue(shell().windowFlags()));
    m_engine.setInitialProperties(properties);
    m_engine.load(views.rootFile);
    QObject::disconnect(listening);
    const QList<QObject *> roots = m_engine.rootObjects();
    auto *const window = roots.isEmpty() ? nullptr : qobject_cast<QQuickWindow *>(roots.first());
    if (!window)
        throw PanelError(u"Quillon's panel cannot be shown: %1"_s.arg(problem));
    m_window.emplace(*window, [this] { applyStyle(); });
    m_panel->setWindow(&*m_window);
    m_attention.emplace(m_session, m_models, *m_window,
                        [this] { m_delegate.applicationWasStartedAgain(); });
}

QuillonApp::~QuillonApp()
{
    m_panel->setWindow(nullptr);
}

void QuillonApp::launch(AppDelegate::Start start)
{
    EditMenu::install([this] { m_session.setTurns({}); });
    // Before the window is shown: activating later would take the focus from an application to
    // which the user has switched meanwhile.
    m_delegate.applicationDidFinishLaunching(start);
    // The first frame does not need it, and the desktop takes a while to show the window.
    QTimer::singleShot(0, &m_delegate, [this] { finishLaunching(); });
    if (start == AppDelegate::Start::hidden)
        return;
    shell().makeKeyAndOrderFront(*m_window);
    shell().center(*m_window);
}

void QuillonApp::finishLaunching()
{
    Platform::current().keyboard().recover();
    // Without the hot key, users would hardly find a hidden panel.
    Notifier *const notifier = shell().notifier();
    if (notifier && !Platform::current().hotKey().isOurs())
        notifier->showStatusItem([this] { m_delegate.applicationWasStartedAgain(); });
}

void QuillonApp::applyStyle()
{
    WindowStyler::make(*m_window);
    VisualEffect(Shell::Material::underWindowBackground).make(*m_window);
    if (Compositor *const compositor = shell().compositor())
        compositor->applyMargin(*m_window);
    if (m_attention)
        m_attention->windowWasMade();
}
