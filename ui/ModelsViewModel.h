#pragma once

#include "ui/ModelChoice.h"

#include <QCoro/QCoroTask>
#include <QList>
#include <QObject>
#include <QQmlListProperty>
#include <QString>
#include <QtQml/qqmlregistration.h>

class ModelManager;

/// The view model of the model manager: what the panel shows of it, and the actions of its
/// controls. Main thread; the manager must outlive it.
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
    Q_PROPERTY(QString manualDownload READ manualDownload NOTIFY selectedChanged)
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
    /// How to download the chosen model without this program: its address and its folder.
    [[nodiscard]] QString manualDownload() const;
    /// The index of the chosen model in the catalogue; -1 if it is not in it.
    [[nodiscard]] int selected() const;
    [[nodiscard]] QString selectedName() const;
    /// One for each model of the catalogue.
    [[nodiscard]] QQmlListProperty<ModelChoice> choices();

    Q_INVOKABLE void download();
    /// Cancels the running download.
    Q_INVOKABLE void cancelDownload();
    /// Loads the file if there is one, or else downloads it again.
    Q_INVOKABLE void tryAgain();
    /// Loads the chosen model from the event loop.
    Q_INVOKABLE void loadIfNeeded();

Q_SIGNALS:
    void stateChanged();
    void progressTextChanged();
    void selectedChanged();

private:
    ModelManager &m_models;
    QList<ModelChoice *> m_choices;
    QCoro::Task<> m_loading; ///< The outcome is in state().
};
