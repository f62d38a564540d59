#pragma once

#include "models/LocalModel.h"

#include <QObject>
#include <QString>
#include <QtQml/qqmlregistration.h>

class ModelManager;

/// A model of the catalogue as a row to choose. Main thread; owned by the ModelsViewModel.
class ModelChoice : public QObject
{
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("The models' view has the choices.")
    Q_PROPERTY(QString name READ name CONSTANT)
    Q_PROPERTY(QString row READ row CONSTANT)
    Q_PROPERTY(bool isSelected READ isSelected NOTIFY isSelectedChanged)

public:
    ModelChoice(ModelManager &models, LocalModel model, QObject *parent);

    [[nodiscard]] const QString &name() const { return m_model.name; }
    /// The name and the strengths of the model.
    [[nodiscard]] QString row() const;
    [[nodiscard]] bool isSelected() const;

    /// Selects the model.
    Q_INVOKABLE void select() const;

Q_SIGNALS:
    void isSelectedChanged();

private:
    ModelManager &m_models;
    const LocalModel m_model;
};
