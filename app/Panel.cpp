#include "app/Panel.h"

#include "app/HotKey.h"
#include "platform/Accessibility.h"
#include "platform/Appearance.h"
#include "platform/NativeWindow.h"
#include "platform/Platform.h"
#include "platform/Shell.h"

#include <QGuiApplication>

#include <utility>

namespace {
bool isGivenTrust()
{
    return Platform::current().accessibility().isTrusted();
}

// Null if the system itself always composes the screen.
Compositor *compositor()
{
    return Platform::current().shell().compositor();
}

Look look()
{
    return Platform::current().appearance().look();
}
} // namespace

Panel::Panel(QObject *parent) : QObject(parent), m_isTrusted(isGivenTrust())
{
    connect(&HotKey::shared(), &HotKey::summonPalette, this, [this] {
        readTrust();
        Q_EMIT summonPalette();
    });
    // No timer is needed: a user who has just granted the permission returns to the panel.
    connect(qGuiApp, &QGuiApplication::applicationStateChanged, this,
            [this](Qt::ApplicationState state) {
                if (state == Qt::ApplicationActive)
                    readTrust();
            });
    Platform::current().appearance().observe([this] { Q_EMIT lookChanged(); });
    if (compositor())
        compositor()->observe([this] { Q_EMIT compositedChanged(); });
}

Panel::~Panel()
{
    Platform::current().appearance().observe([] {});
    if (compositor())
        compositor()->observe([] {});
}

void Panel::setWindow(NativeWindow *window)
{
    m_window = window;
    applyMargin();
}

bool Panel::isComposited() const
{
    return !compositor() || compositor()->isComposited();
}

bool Panel::blursBehind() const
{
    return !compositor() || compositor()->blursBehind();
}

bool Panel::wantsDrawnShadow() const
{
    return compositor() && compositor()->wantsDrawnShadow();
}

void Panel::setMargin(int margin)
{
    if (std::exchange(m_margin, margin) == margin)
        return;
    applyMargin();
    Q_EMIT marginChanged();
}

bool Panel::isDark() const
{
    return look().isDark;
}

bool Panel::hasReducedMotion() const
{
    return look().hasReducedMotion;
}

QColor Panel::accentColor() const
{
    const std::optional<Look::Color> accent = look().accent;
    return accent ? QColor::fromRgbF(static_cast<float>(accent->red),
                                     static_cast<float>(accent->green),
                                     static_cast<float>(accent->blue))
                  : QColor();
}

void Panel::requestTrust()
{
    Platform::current().accessibility().requestTrust();
    // If the system needs no confirmation by the user, the permission is granted already.
    readTrust();
}

void Panel::hide()
{
    Platform::current().shell().hide();
}

void Panel::close()
{
    if (m_window)
        m_window->close();
}

void Panel::minimise()
{
    if (m_window)
        m_window->minimise();
}

void Panel::announce(const QString &text, quint32 element)
{
    Platform::current().shell().announce(text, element);
}

void Panel::applyMargin()
{
    if (!m_window || m_window->margin() == m_margin)
        return;
    m_window->setMargin(m_margin);
    if (compositor())
        compositor()->applyMargin(*m_window);
}

void Panel::readTrust()
{
    const bool isTrusted = isGivenTrust();
    if (std::exchange(m_isTrusted, isTrusted) != isTrusted)
        Q_EMIT trustedChanged();
}
