#pragma once

#include "models/ModelManager.h"
#include "tests/support/Files.h"
#include "tests/support/HttpServer.h"
#include "tests/support/ScriptedEngine.h"

#include <QObject>

#include <memory>

/// A model manager with a scripted engine and a web server, in an empty models folder for each
/// test. Needs a PrivateHome.
class ModelManagerFixture : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

protected:
    using Case = ModelManager::State::Case;

    static QString modelsFolder();
    static QString filePath(const LocalModel &model);
    static void writeFile(const LocalModel &model, const QByteArray &bytes = "old");
    static QByteArray contents(const LocalModel &model) { return Files::contents(filePath(model)); }
    static QStringList filesInFolder() { return Files::names(modelsFolder()); }

    static const LocalModel &first() { return LocalModel::catalog().at(0); }
    static const LocalModel &second() { return LocalModel::catalog().at(1); }
    static LocalModel modelAt(const QUrl &url);

    /// An answer of 600,000 bytes.
    static HttpServer::Answer pausingAfter(qint64 bytes);

    void makeManager(std::chrono::milliseconds timeout = std::chrono::seconds(30));
    /// A manager whose selected model comes from the server's answer.
    void makeManagerFor(const HttpServer::Answer &answer,
                        std::chrono::milliseconds timeout = std::chrono::seconds(30));
    /// Downloads a model until half of it has arrived; the server then waits for its release.
    void downloadHalf();
    void bringInto(Case state);
    void load() { QCoro::waitFor(m_manager->loadIfNeeded()); }
    QList<Case> cases() const;

    std::shared_ptr<ScriptedEngine> m_engine;
    std::unique_ptr<HttpServer> m_server;
    std::unique_ptr<ModelManager> m_manager;
    QList<ModelManager::State> m_states; ///< The states since the manager was made.
};
