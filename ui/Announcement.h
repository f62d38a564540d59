#pragma once

#include "app/Panel.h"
#include "ui/SessionViewModel.h"

#include <QQuickItem>
#include <QString>
#include <QStringList>
#include <QTimer>

/// Tells screen readers the new lines of the transcript. Invisible: they read it as a notification,
/// wherever the focus is. Main thread.
class Announcement : public QQuickItem
{
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(Panel *panel MEMBER m_panel REQUIRED)
    Q_PROPERTY(SessionViewModel *session READ session WRITE setSession REQUIRED)
    /// What was announced last.
    Q_PROPERTY(QString text READ text NOTIFY textChanged)

public:
    explicit Announcement(QQuickItem *parent = nullptr);

    [[nodiscard]] SessionViewModel *session() const { return m_session; }
    void setSession(SessionViewModel *session);
    [[nodiscard]] const QString &text() const { return m_text; }

Q_SIGNALS:
    void textChanged();

private:
    void announce();

    Panel *m_panel = nullptr;
    SessionViewModel *m_session = nullptr;
    QStringList m_lines; ///< Not announced yet.
    QString m_text;
    QTimer m_pause;
};
