#include "tests/models/ModelManagerFixture.h"

#include "tests/support/Waiting.h"

#include <QDir>
#include <QSettings>
#include <QStandardPaths>
#include <QTest>

using namespace Qt::StringLiterals;
using Answer = HttpServer::Answer;
using State = ModelManager::State;

QString ModelManagerFixture::modelsFolder()
{
    return QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation) +
           u"/Quillon/Models"_s;
}

QString ModelManagerFixture::filePath(const LocalModel &model)
{
    return modelsFolder() + u'/' + model.fileName;
}

void ModelManagerFixture::writeFile(const LocalModel &model, const QByteArray &bytes)
{
    QVERIFY(QDir().mkpath(modelsFolder()));
    Files::write(filePath(model), bytes);
}

HttpServer::Answer ModelManagerFixture::pausingAfter(qint64 bytes)
{
    return {.body = QByteArray(600'000, 'x'), .holdAfter = bytes};
}

LocalModel ModelManagerFixture::modelAt(const QUrl &url)
{
    return {u"test"_s, u"Test"_s, QString(), url, u"test.gguf"_s, 1};
}

void ModelManagerFixture::init()
{
    QSettings().clear();
    QFile::remove(modelsFolder());
    QDir(modelsFolder()).removeRecursively();
    m_engine = std::make_shared<ScriptedEngine>();
    m_server = std::make_unique<HttpServer>();
}

void ModelManagerFixture::cleanup()
{
    m_manager.reset();
    m_engine.reset();
    m_server.reset();
}

void ModelManagerFixture::makeManager(std::chrono::milliseconds timeout)
{
    m_manager = std::make_unique<ModelManager>(m_engine, timeout);
    m_states.clear();
    connect(m_manager.get(), &ModelManager::stateChanged, this,
            [this] { m_states += m_manager->state(); });
}

void ModelManagerFixture::makeManagerFor(const Answer &answer, std::chrono::milliseconds timeout)
{
    m_server->setAnswer(u"/test.gguf"_s, answer);
    makeManager(timeout);
    m_manager->select(modelAt(m_server->url(u"/test.gguf"_s)));
    m_states.clear();
}

void ModelManagerFixture::downloadHalf()
{
    makeManagerFor(pausingAfter(300'000));
    m_manager->download();
    QTRY_VERIFY(m_manager->state() == State::downloading(0.5));
    m_states.clear();
}

// The engine has a model only in `loaded`.
void ModelManagerFixture::bringInto(Case state)
{
    const Answer answer{.body = "model"};
    switch (state) {
    case Case::needsDownload:
        makeManagerFor(answer);
        break;
    case Case::downloading:
        makeManagerFor({.isSilent = true});
        m_manager->download();
        break;
    case Case::ready:
        makeManagerFor(answer);
        writeFile(m_manager->selected());
        m_manager->refresh();
        break;
    case Case::loading:
        bringInto(Case::ready);
        m_engine->holdLoads();
        static_cast<void>(m_manager->loadIfNeeded()); // Continues by itself.
        break;
    case Case::loaded:
        bringInto(Case::ready);
        load();
        break;
    case Case::failed:
        bringInto(Case::ready);
        m_engine->setLoadError(InferenceError::contextFailed);
        load();
        m_engine->setLoadError(std::nullopt);
        break;
    }
    QCOMPARE(m_manager->state().kind, state);
}

QList<ModelManager::State::Case> ModelManagerFixture::cases() const
{
    QList<Case> result;
    for (const State &state : m_states) {
        if (result.isEmpty() || result.last() != state.kind)
            result += state.kind;
    }
    return result;
}
