#pragma once

#include "agent/AgentSession.h"
#include "app/AppDelegate.h"
#include "app/Attention.h"
#include "app/Panel.h"
#include "app/QuickNativeWindow.h"
#include "models/ModelManager.h"

#include <QQmlApplicationEngine>
#include <QString>
#include <QUrl>
#include <QVariantMap>

#include <functional>
#include <optional>

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
    };

    explicit QuillonApp(const Views &views);
    ~QuillonApp();
    QuillonApp(const QuillonApp &) = delete;
    QuillonApp &operator=(const QuillonApp &) = delete;

    /// Shows the panel and finishes the launch. On failure, returns one sentence.
    [[nodiscard]] std::optional<QString> launch();

    [[nodiscard]] AppDelegate &delegate() { return m_delegate; }

private:
    /// Styles the native window that was just created as a panel.
    void applyStyle();

    AppDelegate m_delegate;
    ModelManager m_models;
    AgentSession m_session;
    Panel m_panel;
    QString m_problem; ///< Why the views cannot be shown; empty if they can.
    QQmlApplicationEngine m_engine;
    std::optional<QuickNativeWindow> m_window;
    std::optional<Attention> m_attention;
};
