#pragma once

#include "agent/AgentSession.h"
#include "app/AppDelegate.h"
#include "app/Attention.h"
#include "app/Panel.h"
#include "app/QuickNativeWindow.h"
#include "models/ModelManager.h"
#include "platform/Shell.h"

#include <QQmlApplicationEngine>
#include <QString>
#include <QUrl>
#include <QVariantMap>

#include <functional>
#include <optional>
#include <stdexcept>

/// The panel's views cannot be loaded. what() is one sentence for the user in UTF-8.
class PanelError final : public std::runtime_error
{
public:
    explicit PanelError(const QString &sentence) : std::runtime_error(sentence.toStdString()) {}
};

/// The application with its panel window: the two objects that live as long as the process, and the
/// views of them. Main thread, with a QGuiApplication.
class QuillonApp
{
public:
    /// The views: the root QML file, which must be a window, and a function that prepares the
    /// engine and returns the initial properties, which the engine may own.
    struct Views
    {
        QUrl rootFile;
        std::function<QVariantMap(QQmlEngine &, ModelManager &, AgentSession &)> prepare;
        std::function<Shell::Picture(int side)> drawIcon = {}; ///< The application's icon.
    };

    /// Throws a PanelError if the views cannot be loaded.
    explicit QuillonApp(const Views &views);
    ~QuillonApp();
    QuillonApp(const QuillonApp &) = delete;
    QuillonApp &operator=(const QuillonApp &) = delete;

    /// Shows the panel and finishes the launch. A hidden start leaves the panel to the first
    /// summon.
    void launch(AppDelegate::Start start = AppDelegate::Start::shown);

    [[nodiscard]] AppDelegate &delegate() { return m_delegate; }

private:
    void finishLaunching();
    /// Styles the native window that was just created as a panel.
    void applyStyle();

    AppDelegate m_delegate;
    ModelManager m_models;
    AgentSession m_session;
    std::optional<Panel> m_panel; ///< Destroyed after the engine, whose views refer to it.
    QQmlApplicationEngine m_engine;
    std::optional<QuickNativeWindow> m_window;
    std::optional<Attention> m_attention;
};
