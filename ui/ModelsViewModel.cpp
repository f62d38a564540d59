#include "ui/ModelsViewModel.h"

#include "base/ShownText.h"
#include "models/LocalModel.h"
#include "models/ModelManager.h"

#include <QDir>
#include <QTimer>

#include <algorithm>

using namespace Qt::StringLiterals;

ModelsViewModel::ModelsViewModel(ModelManager &models, QObject *parent)
    : QObject(parent), m_models(models)
{
    for (const LocalModel &model : LocalModel::catalog())
        m_choices << new ModelChoice(m_models, model, this);
    connect(&m_models, &ModelManager::stateChanged, this, &ModelsViewModel::stateChanged);
    connect(&m_models, &ModelManager::stateChanged, this, &ModelsViewModel::progressTextChanged);
    connect(&m_models, &ModelManager::selectedChanged, this, &ModelsViewModel::selectedChanged);
    connect(&m_models, &ModelManager::selectedChanged, this, &ModelsViewModel::progressTextChanged);
}

ModelsViewModel::State ModelsViewModel::state() const
{
    using Case = ModelManager::State::Case;
    switch (m_models.state().kind) {
    case Case::needsDownload:
        return NeedsDownload;
    case Case::downloading:
        return Downloading;
    case Case::ready:
        return Ready;
    case Case::loading:
        return Loading;
    case Case::loaded:
        return Loaded;
    case Case::failed:
        return Failed;
    }
    Q_UNREACHABLE();
}

double ModelsViewModel::progress() const
{
    return m_models.state().progress;
}

QString ModelsViewModel::progressText() const
{
    return u"%1% of ~%2 MB"_s.arg(QString::number(static_cast<int>(progress() * 100)),
                                  QString::number(m_models.selected().sizeMB));
}

QString ModelsViewModel::message() const
{
    return ShownText::plain(m_models.state().message);
}

QString ModelsViewModel::manualDownload() const
{
    return u"The file is at %1 and belongs into %2."_s.arg(
        m_models.selected().url.toDisplayString(),
        QDir::toNativeSeparators(ModelManager::directory()));
}

int ModelsViewModel::selected() const
{
    const QList<LocalModel> &catalog = LocalModel::catalog();
    const auto place = std::ranges::find(catalog, m_models.selected().id, &LocalModel::id);
    return place == catalog.end() ? -1 : static_cast<int>(place - catalog.begin());
}

QString ModelsViewModel::selectedName() const
{
    return m_models.selected().name;
}

QQmlListProperty<ModelChoice> ModelsViewModel::choices()
{
    using Choices = QQmlListProperty<ModelChoice>;
    return {this, &m_choices,
            [](Choices *list) { return static_cast<QList<ModelChoice *> *>(list->data)->size(); },
            [](Choices *list, qsizetype place) {
                return static_cast<QList<ModelChoice *> *>(list->data)->at(place);
            }};
}

void ModelsViewModel::download()
{
    m_models.download();
}

void ModelsViewModel::cancelDownload()
{
    m_models.cancelTask();
    m_models.refresh();
    // The file may have been complete by then, or added in another way.
    if (state() == Ready)
        loadIfNeeded();
}

void ModelsViewModel::tryAgain()
{
    m_models.refresh();
    if (state() == Ready)
        loadIfNeeded();
    else
        m_models.download();
}

void ModelsViewModel::loadIfNeeded()
{
    QTimer::singleShot(0, this, [this] { m_loading = m_models.loadIfNeeded(); });
}
