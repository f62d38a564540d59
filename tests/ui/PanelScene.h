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

    /// The environment that the panel is tested in; before the application object is made.
    static void prepareEnvironment();

    /// The visible item of that name, or null; with a parent, below that one.
    [[nodiscard]] QQuickItem *find(const QString &name, QQuickItem *parent = nullptr) const;
    /// All of that name, from the top down.
    [[nodiscard]] QList<QQuickItem *> all(const QString &name) const;
    /// The item of that name, seen or not, or null.
    [[nodiscard]] QQuickItem *itemAnywhere(const QString &name) const;
    /// All items that show text and could take it for markup.
    [[nodiscard]] QList<QQuickItem *> allTexts() const;
    /// The item of that name, which must be there.
    [[nodiscard]] QQuickItem &item(const QString &name) const;
    /// The text of the item of that name.
    [[nodiscard]] QString text(const QString &name) const;
    [[nodiscard]] QString typed() const { return text(u"commandField"_s); }
    [[nodiscard]] bool hasFocus(const QString &name) const;

    /// The hot key was pressed.
    static void summon();
    void setTrusted(bool isTrusted);
    void setLook(const Look &look) { platform.settings.change(look); }
    /// How often the panel was asked to hide.
    [[nodiscard]] qsizetype hides() const;

    /// The singleton with the colours and the fonts.
    [[nodiscard]] QObject &theme();
    [[nodiscard]] QColor color(const char *name);

    void click(const QString &name) const;
    void key(Qt::Key key, Qt::KeyboardModifiers modifiers = Qt::NoModifier) const;
    void type(const QString &text) const;
    /// Types a task and sends it.
    void submit(const QString &task) const;
    /// Runs a task to its end.
    void run(const QString &task, const QStringList &replies);

    /// What the window shows.
    [[nodiscard]] QImage grab() const { return window->grabWindow(); }

    FakeNativeWindow frame{u"panel"_s};
    Panel panel;
    QQmlEngine qml;
    std::unique_ptr<QQuickWindow> window;

private:
    std::unique_ptr<QObject> m_themeHolder;
};
