#pragma once

#include "app/Panel.h"
#include "tests/ui/ViewModels.h"

#include <QQmlEngine>
#include <QQuickItem>
#include <QQuickWindow>

#include <memory>

using Qt::StringLiterals::operator""_s;

/// The whole panel in a window.
class PanelScene : public ViewModels
{
public:
    /// Shows the panel and waits until it has the focus.
    explicit PanelScene(Model model = Model::loaded,
                        Qt::WindowFlags flags = Qt::Window | Qt::FramelessWindowHint,
                        bool isTrusted = true);
    ~PanelScene();

    /// Sets the environment of panel tests; call it before the application object is created.
    static void prepareEnvironment();

    /// The visible item with that name, below the parent if given; or null.
    [[nodiscard]] QQuickItem *find(const QString &name, QQuickItem *parent = nullptr) const;
    /// All visible items with that name, from top to bottom.
    [[nodiscard]] QList<QQuickItem *> all(const QString &name) const;
    /// The item with that name, visible or not; or null.
    [[nodiscard]] QQuickItem *itemAnywhere(const QString &name) const;
    /// All items that show text and could interpret it as markup.
    [[nodiscard]] QList<QQuickItem *> allTexts() const;
    /// The visible item with that name, which must exist.
    [[nodiscard]] QQuickItem &item(const QString &name) const;
    /// The text of the item with that name.
    [[nodiscard]] QString text(const QString &name) const;
    [[nodiscard]] QString typed() const { return text(u"commandField"_s); }
    [[nodiscard]] bool hasFocus(const QString &name) const;

    /// Presses the hot key.
    static void summon();
    void setTrusted(bool isTrusted);
    void setLook(const Look &look) { platform.fakeAppearance.change(look); }
    /// How often the panel was asked to hide.
    [[nodiscard]] qsizetype hides() const;

    /// The singleton with the colours and the fonts.
    [[nodiscard]] QObject &theme();
    [[nodiscard]] QColor color(const char *name);

    void click(const QString &name) const;
    void key(Qt::Key key, Qt::KeyboardModifiers modifiers = Qt::NoModifier) const;
    void type(const QString &text) const;
    /// Types and submits a task.
    void submit(const QString &task) const;
    /// Runs a task to its end.
    void run(const QString &task, const QStringList &replies);

    /// The window's contents.
    [[nodiscard]] QImage grab() const { return window->grabWindow(); }

    FakeNativeWindow frame{u"panel"_s};
    Panel panel;
    QQmlEngine qml;
    std::unique_ptr<QQuickWindow> window;

private:
    std::unique_ptr<QObject> m_themeHolder;
};
