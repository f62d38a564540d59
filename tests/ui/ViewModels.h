#pragma once

#include "agent/AgentSession.h"
#include "models/LocalModel.h"
#include "models/ModelManager.h"
#include "tests/support/FakePlatform.h"
#include "tests/support/ScriptedEngine.h"
#include "ui/ModelsViewModel.h"
#include "ui/SessionViewModel.h"

#include <QDir>
#include <QFile>
#include <QSettings>
#include <QTemporaryDir>

using Qt::StringLiterals::operator""_s;

/// The view models of the real session and the real manager, with a scripted engine, a fake
/// platform and a private home folder.
struct ViewModels
{
    /// The result of loading the first model of the catalogue.
    enum class Model {
        missing,
        present,
        unreadable, ///< Loading it fails.
        loading,    ///< Loading lasts until releaseLoad().
        loaded,     ///< Already loaded.
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
        platform.fakeWorkspace.front = Application{.pid = ProcessId{7}, .name = u"Safari"_s};
        manager = std::make_unique<ModelManager>(engine);
        session = std::make_unique<AgentSession>(*manager);
        sessionView = std::make_unique<SessionViewModel>(*session);
        modelsView = std::make_unique<ModelsViewModel>(*manager);
        if (model == Model::loaded)
            QCoro::waitFor(manager->loadIfNeeded());
    }

    void prepareHome() const
    {
        const auto folder = [this](const char *variable, const QString &name) {
            qputenv(variable, home.filePath(name).toUtf8());
            QDir(home.path()).mkpath(name);
        };
        folder("HOME", u"home"_s);
        folder("XDG_DATA_HOME", u"data"_s);
        folder("XDG_CONFIG_HOME", u"config"_s);
        QDir(home.path()).mkpath(u"home/Downloads"_s);
        QSettings().clear();
    }

    /// Creates the model's file, which the scripted engine does not read.
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
    std::unique_ptr<SessionViewModel> sessionView;
    std::unique_ptr<ModelsViewModel> modelsView;
};
