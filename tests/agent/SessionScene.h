#pragma once

#include "agent/AgentSession.h"
#include "models/ModelManager.h"
#include "tests/support/FakePlatform.h"
#include "tests/support/ScriptedEngine.h"
#include "tests/support/Waiting.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

/// Replies of the model.
namespace Replies {
inline const QString listWindows = uR"({"action":"list_windows"})"_s;
inline const QString readNothing = uR"({"action":"open_path"})"_s;
inline const QString openPage = uR"({"action":"open_url","url":"example.org"})"_s;
inline const QString trashOld = uR"({"action":"trash","path":"old.zip"})"_s;
inline const QString done = uR"({"action":"done","message":"All done."})"_s;
inline const QString unreadable = u" I would rather talk. "_s;

inline QString search(const QString &folder)
{
    return uR"({"action":"find_files","folder":"%1"})"_s.arg(folder);
}

/// As many searches, none of which is the same as the one before it.
inline QStringList searches(int count)
{
    QStringList replies;
    for (int i = 0; i < count; ++i)
        replies << search(i % 2 ? u"Downloads"_s : u"Documents"_s);
    return replies;
}
} // namespace Replies

/// A session with a scripted engine and a fake desktop, in a temporary home folder.
struct SessionScene
{
    explicit SessionScene(const QStringList &replies = {}, bool isLoaded = true)
    {
        qputenv("HOME", home.path().toUtf8());
        qputenv("XDG_DATA_HOME", home.filePath(u"data"_s).toUtf8());
        QDir(home.path()).mkpath(u"Downloads"_s);
        QDir(home.path()).mkpath(u"Documents"_s);
        platform.fakeWorkspace.front = Application{.pid = ProcessId{7}, .name = u"Safari"_s};
        engine->setLoaded(isLoaded);
        for (const QString &reply : replies)
            engine->addReplies({reply});
        manager = std::make_unique<ModelManager>(engine);
        if (isLoaded)
            QCoro::waitFor(manager->loadIfNeeded());
        session = std::make_unique<AgentSession>(*manager);
    }

    void run(const QString &task = u"Do it"_s) const
    {
        session->submit(task);
        waitUntilIdle();
    }
    /// Until the session waits for the user's answer.
    void runUntilAsked() const
    {
        session->submit(u"Do it"_s);
        QTRY_VERIFY(session->pending());
    }
    /// Until a generation has begun, which continues when the test releases it.
    void runUntilGenerating() const
    {
        engine->holdGenerations();
        session->submit(u"Do it"_s);
        QTRY_COMPARE(engine->generations().size(), 1);
    }
    /// Makes the selected model ready to be loaded. For a scene without a loaded model, as below.
    void addModelFile() const
    {
        QFile file(ModelManager::directory() + u'/' + manager->selected().fileName);
        QVERIFY(file.open(QIODevice::WriteOnly));
        manager->refresh();
    }
    /// Until the model is being loaded, which continues when the test releases it.
    void runUntilLoading() const
    {
        addModelFile();
        engine->holdLoads();
        session->submit(u"Do it"_s);
        QTRY_COMPARE(manager->state(), ModelManager::State::loading());
    }
    /// Until openPage has opened its page and waits for it to appear.
    void runUntilOpening() const
    {
        session->submit(u"Do it"_s);
        QTRY_COMPARE(platform.fakeWorkspace.opened.size(), 1);
    }
    void waitUntilIdle() const { QTRY_VERIFY(!session->isRunning()); }

    [[nodiscard]] const Turn &turn() const { return session->turns().last(); }
    [[nodiscard]] const LogEntry &line(qsizetype index) const { return turn().log.at(index); }
    [[nodiscard]] QStringList texts() const
    {
        QStringList result;
        for (const LogEntry &entry : turn().log)
            result << entry.text;
        return result;
    }
    [[nodiscard]] QList<LogEntry::Kind> kinds() const
    {
        QList<LogEntry::Kind> result;
        for (const LogEntry &entry : turn().log)
            result << entry.kind;
        return result;
    }
    [[nodiscard]] bool isIdle() const
    {
        return !session->isRunning() && session->status().isEmpty() &&
               session->streamPreview().isEmpty() && !session->pending();
    }

    QTemporaryDir home;
    FakePlatform platform;
    std::shared_ptr<ScriptedEngine> engine = std::make_shared<ScriptedEngine>();
    std::unique_ptr<ModelManager> manager;
    std::unique_ptr<AgentSession> session;
};
