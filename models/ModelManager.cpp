#include "models/ModelManager.h"

#include "inference/LlamaEngine.h"
#include "models/Download.h"
#include "models/PartialFile.h"
#include "models/SmallModel.h"

#include <QDir>
#include <QFileInfo>
#include <QPointer>
#include <QSettings>
#include <QStandardPaths>
#include <QTimer>

#include <system_error>
#include <utility>

using namespace Qt::StringLiterals;

namespace {
const QString choiceKey = u"selectedModel"_s;

LocalModel rememberedChoice()
{
    const QString id = QSettings().value(choiceKey).toString();
    for (const LocalModel &model : LocalModel::catalog()) {
        if (model.id == id)
            return model;
    }
    return LocalModel::catalog().first();
}

QString filePath(const LocalModel &model)
{
    if (model == SmallModel::model())
        return SmallModel::file().value_or(QString());
    return QDir(ModelManager::directory()).filePath(model.fileName);
}
} // namespace

ModelManager::ModelManager(QObject *parent)
    : ModelManager(std::make_shared<LlamaEngine>(), stallTimeout, parent)
{
}

ModelManager::ModelManager(std::shared_ptr<InferenceEngine> engine,
                           std::chrono::milliseconds timeout, QObject *parent)
    : QObject(parent)
    , m_selected(rememberedChoice())
    , m_engine(std::move(engine))
    , m_timeout(timeout)
{
    PartialFile::sweep(directory());
    refresh();
}

ModelManager::~ModelManager() = default;

QString ModelManager::directory()
{
    const QString data = QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation);
    const QString models = QDir(data).filePath(u"Quillon/Models"_s);
    QDir().mkpath(models);
    return models;
}

bool ModelManager::hasFile(const LocalModel &model)
{
    // Not a named pipe, for example, which would block its reader. A folder counts: loading it
    // fails with a sentence that says so, while a download could not replace it.
    const QFileInfo info(filePath(model));
    return info.isFile() || info.isDir();
}

void ModelManager::refresh()
{
    setState(hasFile(m_selected) ? State::ready() : State::needsDownload());
}

void ModelManager::select(const LocalModel &model)
{
    if (model == m_selected)
        return;
    change(model);
    QSettings().setValue(choiceKey, model.id);
    refresh();
    if (m_state.kind == State::Case::ready)
        QTimer::singleShot(0, this, [this] { startLoading(); });
}

bool ModelManager::useSmallModel()
{
    if (!SmallModel::file())
        return false;
    if (m_selected != SmallModel::model()) {
        change(SmallModel::model());
        refresh();
    }
    return true;
}

void ModelManager::change(const LocalModel &model)
{
    ++m_choice;
    cancelTask();
    m_engine->unload();
    setSelected(model);
}

void ModelManager::download()
{
    if (m_task)
        return;
    forgetEndedTasks();
    if (m_selected == SmallModel::model()) {
        setState(State::failed(
            u"%1 is no longer beside the program: install Quillon again."_s.arg(m_selected.name)));
        return;
    }
    setState(State::downloading(0));
    Download::Events events;
    events.progress = [this](double fraction) { setState(State::downloading(fraction)); };
    events.done = [this] { finishDownload(); };
    events.failed = [this](const TransferError &error) { failDownload(error); };
    try {
        m_task =
            std::make_unique<Download>(m_selected.url, directory(), m_timeout, std::move(events));
    } catch (const std::system_error &error) {
        setState(State::failed(QString::fromLocal8Bit(error.what())));
    }
}

void ModelManager::finishDownload()
{
    m_task.reset();
    refresh();
    startLoading();
}

void ModelManager::failDownload(const TransferError &error)
{
    m_task.reset();
    setState(State::failed(error.description()));
}

void ModelManager::cancelTask()
{
    forgetEndedTasks();
    if (!m_task)
        return;
    m_task->cancel();
    // Not destroyed here: its destructor would block while its thread is inside a slow write.
    m_cancelledTasks.push_back(std::move(m_task));
}

void ModelManager::forgetEndedTasks()
{
    std::erase_if(m_cancelledTasks, [](const auto &task) { return task->isOver(); });
}

void ModelManager::startLoading()
{
    // Dropped on purpose: a load cannot be cancelled, it checks that the manager exists when it
    // resumes, and its outcome is in state().
    static_cast<void>(loadIfNeeded());
}

QCoro::Task<> ModelManager::loadIfNeeded()
{
    if (m_engine->isLoaded()) {
        setState(State::loaded());
        co_return;
    }
    if (m_state.kind != State::Case::ready && m_state.kind != State::Case::loaded)
        co_return;
    setState(State::loading());

    const QPointer<ModelManager> self(this);
    const std::shared_ptr<InferenceEngine> engine = m_engine;
    const int choice = m_choice;
    State outcome = State::loaded();
    try {
        co_await engine->load(filePath(m_selected));
    } catch (const std::exception &error) {
        outcome = State::failed(QString::fromUtf8(error.what()));
    }
    // If another model was selected meanwhile, the outcome does not apply to it, and the engine has
    // been told to unload.
    if (self && self->m_choice == choice)
        self->setState(std::move(outcome));
}

void ModelManager::setState(State state)
{
    if (state == m_state)
        return;
    Q_EMIT stateWillChange();
    m_state = std::move(state);
    Q_EMIT stateChanged();
}

void ModelManager::setSelected(const LocalModel &model)
{
    Q_EMIT selectedWillChange();
    m_selected = model;
    Q_EMIT selectedChanged();
}
