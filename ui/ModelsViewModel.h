#pragma once

#include "ui/ModelChoice.h"

#include <QCoro/QCoroTask>
#include <QList>
#include <QObject>
#include <QQmlListProperty>
#include <QString>
#include <QtQml/qqmlregistration.h>

class ModelManager;

/// What the panel shows of the model, and what its controls ask of the manager. Main thread; the
/// manager must outlive it.
class ModelsViewModel : public QObject
{
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("The application has the models.")
    Q_PROPERTY(State state READ state NOTIFY stateChanged)
    Q_PROPERTY(bool isLoaded READ isLoaded NOTIFY stateChanged)
    Q_PROPERTY(double progress READ progress NOTIFY stateChanged)
    Q_PROPERTY(QString progressText READ progressText NOTIFY progressTextChanged)
    Q_PROPERTY(QString message READ message NOTIFY stateChanged)
    Q_PROPERTY(QString ownWay READ ownWay NOTIFY selectedChanged)
    Q_PROPERTY(int selected READ selected NOTIFY selectedChanged)
    Q_PROPERTY(QString selectedName READ selectedName NOTIFY selectedChanged)
    Q_PROPERTY(QQmlListProperty<ModelChoice> choices READ choices CONSTANT)

public:
    enum State { NeedsDownload, Downloading, Ready, Loading, Loaded, Failed };
    Q_ENUM(State)

    explicit ModelsViewModel(ModelManager &models, QObject *parent = nullptr);

    [[nodiscard]] State state() const;
    [[nodiscard]] bool isLoaded() const { return state() == Loaded; }
    /// 0 to 1, while downloading.
    [[nodiscard]] double progress() const;
    /// "42% of ~986 MB".
    [[nodiscard]] QString progressText() const;
    /// Why the last download or load failed.
    [[nodiscard]] QString message() const;
    /// How to get the chosen model without this program: where from and where to.
    [[nodiscard]] QString ownWay() const;
    /// The place of the chosen model in the catalogue; -1 for one that is not in it.
    [[nodiscard]] int selected() const;
    [[nodiscard]] QString selectedName() const;
    /// One for each model of the catalogue.
    [[nodiscard]] QQmlListProperty<ModelChoice> choices();

    Q_INVOKABLE void download();
    /// Ends the running download without a word.
    Q_INVOKABLE void cancelDownload();
    /// Loads the file where there is one, else downloads it again.
    Q_INVOKABLE void tryAgain();
    /// Loads the chosen model, from the next pass of the event loop on.
    Q_INVOKABLE void loadIfNeeded();

Q_SIGNALS:
    void stateChanged();
    void progressTextChanged();
    void selectedChanged();

private:
    ModelManager &m_models;
    QList<ModelChoice *> m_choices;
    QCoro::Task<> m_loading; ///< Its outcome is in state().
};
