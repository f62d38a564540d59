#pragma once

#include "ui/ModelsViewModel.h"
#include "ui/SessionViewModel.h"

#include <QList>
#include <QObject>
#include <QPointer>
#include <QString>
#include <QStringList>
#include <QUrl>
#include <QtQml/qqmlregistration.h>

/// The text of the command field: the draft, sending it, and the tasks sent before. Main thread;
/// created by the view.
class CommandInput : public QObject
{
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(
        SessionViewModel *session READ session WRITE setSession NOTIFY sessionChanged REQUIRED)
    Q_PROPERTY(ModelsViewModel *models READ models WRITE setModels NOTIFY modelsChanged REQUIRED)
    Q_PROPERTY(QString text READ text WRITE setText NOTIFY textChanged)
    Q_PROPERTY(bool canSend READ canSend NOTIFY canSendChanged)
    Q_PROPERTY(QStringList suggestions READ suggestions CONSTANT)

public:
    using QObject::QObject;

    [[nodiscard]] SessionViewModel *session() const { return m_session; }
    void setSession(SessionViewModel *session);
    [[nodiscard]] ModelsViewModel *models() const { return m_models; }
    void setModels(ModelsViewModel *models);
    [[nodiscard]] const QString &text() const { return m_text; }
    void setText(const QString &text);
    /// Whether there is a text and a loaded model.
    [[nodiscard]] bool canSend() const;
    /// Examples of tasks.
    [[nodiscard]] static QStringList suggestions();

    /// Submits the text to the session and clears the field. Does nothing while no model is loaded.
    Q_INVOKABLE void send();
    /// Shows the task before or after the shown one; the draft follows the last one.
    Q_INVOKABLE void recallEarlier();
    Q_INVOKABLE void recallLater();

    /// The text on the clipboard as one line, with spaces instead of line ends.
    [[nodiscard]] Q_INVOKABLE static QString clipboardLine();

    /// The paths of files that were dropped on the field, beside each other; of other addresses
    /// nothing.
    [[nodiscard]] Q_INVOKABLE static QString droppedPaths(const QList<QUrl> &urls);

Q_SIGNALS:
    void sessionChanged();
    void modelsChanged();
    void textChanged();
    void canSendChanged();

private:
    void recall(qsizetype place);
    [[nodiscard]] bool isDraft() const;

    QPointer<SessionViewModel> m_session;
    QPointer<ModelsViewModel> m_models;
    QString m_text;
    QStringList m_sent;    ///< Oldest first, without consecutive duplicates.
    QString m_draft;       ///< The text before recalling began.
    qsizetype m_place = 0; ///< Index of the shown task in m_sent; its size means the draft.
};
