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

/// The application with its one panel window: the two objects that live as long as the process, and
/// the views over them. Main thread, with a QGuiApplication.
class QuillonApp
{
public:
    /// The views to show: the root file, which has to be a window, and what prepares the engine for
    /// it and makes the initial properties, which the engine may own.
    struct Views
    {
        QUrl rootFile;
        std::function<QVariantMap(QQmlEngine &, ModelManager &, AgentSession &)> prepare;
    };

    explicit QuillonApp(const Views &views);
    ~QuillonApp();
    QuillonApp(const QuillonApp &) = delete;
    QuillonApp &operator=(const QuillonApp &) = delete;

    /// Shows the panel and finishes the launch. One sentence where there is nothing to show.
    [[nodiscard]] std::optional<QString> launch();

    [[nodiscard]] AppDelegate &delegate() { return m_delegate; }

private:
    /// Makes a panel of the window that the system has just made.
    void applyStyle();

    AppDelegate m_delegate;
    ModelManager m_models;
    AgentSession m_session;
    Panel m_panel;
    QString m_problem; ///< Why the views cannot be shown.
    QQmlApplicationEngine m_engine;
    std::optional<QuickNativeWindow> m_window;
    std::optional<Attention> m_attention;
};
