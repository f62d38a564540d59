#pragma once

#include "ui/ModelsViewModel.h"
#include "ui/SessionViewModel.h"

#include <QObject>
#include <QPointer>
#include <QString>
#include <QStringList>
#include <QtQml/qqmlregistration.h>

/// The text of the command field: what is being typed, sending it, and the tasks sent before. Main
/// thread; made by the view.
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
    /// Whether there is a text, and a model to send it to.
    [[nodiscard]] bool canSend() const;
    /// Tasks to begin with.
    [[nodiscard]] static QStringList suggestions();

    /// Hands the text to the session and empties the field; while no model is loaded, nothing.
    Q_INVOKABLE void send();
    /// Puts the task before the shown one into the field, or the one after it; after the last comes
    /// what was being typed.
    Q_INVOKABLE void recallEarlier();
    Q_INVOKABLE void recallLater();

    /// The text on the clipboard as one line: line ends are spaces, so that words stay apart.
    [[nodiscard]] Q_INVOKABLE static QString clipboardLine();

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
    QStringList m_sent;    ///< Oldest first, no two equal ones in a row.
    QString m_draft;       ///< What was being typed when recalling began.
    qsizetype m_place = 0; ///< What of m_sent is shown; its size: the draft.
};
