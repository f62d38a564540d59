#pragma once

#include "agent/AgentSession.h"
#include "models/LocalModel.h"
#include "models/ModelManager.h"
#include "tests/support/FakePlatform.h"
#include "tests/support/ScriptedEngine.h"
#include "ui/ModelsView.h"
#include "ui/SessionView.h"

#include <QDir>
#include <QFile>
#include <QSettings>
#include <QTemporaryDir>

/// The view models over the real session and the real manager, with a scripted engine, a desktop in
/// memory and a home of its own.
struct ViewModels
{
    /// What becomes of the first model of the catalogue once somebody wants it loaded.
    enum class Model {
        missing,
        present,
        unreadable, ///< Loading it fails.
        loading,    ///< Loading it takes until the engine's release.
        loaded,     ///< It is loaded already.
    };

    explicit ViewModels(Model model = Model::loaded)
    {
        prepareHome();
        if (model != Model::missing)
            putModel(LocalModel::catalog().first());
        engine->setLoaded(model == Model::loaded);
        if (model == Model::unreadable)
            engine->setLoadError(InferenceError::loadFailed);
        if (model == Model::loading)
            engine->holdLoads();
        platform.desk.front = Application{.pid = ProcessId{7}, .name = QStringLiteral("Safari")};
        manager = std::make_unique<ModelManager>(engine);
        session = std::make_unique<AgentSession>(*manager);
        sessionView = std::make_unique<SessionView>(*session);
        modelsView = std::make_unique<ModelsView>(*manager);
        if (model == Model::loaded)
            QCoro::waitFor(manager->loadIfNeeded());
    }

    void prepareHome() const
    {
        const auto folder = [this](const char *variable, const QString &name) {
            qputenv(variable, home.filePath(name).toUtf8());
            QDir(home.path()).mkpath(name);
        };
        folder("HOME", QStringLiteral("home"));
        folder("XDG_DATA_HOME", QStringLiteral("data"));
        folder("XDG_CONFIG_HOME", QStringLiteral("config"));
        QDir(home.path()).mkpath(QStringLiteral("home/Downloads"));
        QSettings().clear();
    }

    /// Makes the model's file; the scripted engine does not read it.
    static void putModel(const LocalModel &model)
    {
        QFile file(QDir(ModelManager::directory()).filePath(model.fileName));
        if (!file.open(QIODevice::WriteOnly))
            qFatal("The model's file cannot be written.");
    }

    QTemporaryDir home;
    FakePlatform platform;
    std::shared_ptr<ScriptedEngine> engine = std::make_shared<ScriptedEngine>();
    std::unique_ptr<ModelManager> manager;
    std::unique_ptr<AgentSession> session;
    std::unique_ptr<SessionView> sessionView;
    std::unique_ptr<ModelsView> modelsView;
};
