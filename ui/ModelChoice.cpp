#include "ui/ModelChoice.h"

#include "models/ModelManager.h"

#include <utility>

using namespace Qt::StringLiterals;

ModelChoice::ModelChoice(ModelManager &models, LocalModel model, QObject *parent)
    : QObject(parent), m_models(models), m_model(std::move(model))
{
    connect(&m_models, &ModelManager::selectedChanged, this, &ModelChoice::isSelectedChanged);
}

QString ModelChoice::row() const
{
    return m_model.name + u" — "_s + m_model.detail;
}

bool ModelChoice::isSelected() const
{
    return m_models.selected().id == m_model.id;
}

void ModelChoice::select() const
{
    m_models.select(m_model);
}
