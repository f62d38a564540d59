#pragma once

#include "inference/LlamaEngine.h"
#include "tests/support/Awaited.h"
#include "tests/support/TestModel.h"

#include <QCoro/QCoroTask>
#include <QTemporaryDir>
#include <QTest>

#include <memory>
#include <utility>

using Qt::StringLiterals::operator""_s;

inline QList<ChatMessage> asking(const QString &task)
{
    return {{Role::system, u"You act."_s}, {Role::user, task}};
}

struct Generation
{
    QStringList pieces;
    QString text;
};

/// The reply, and the pieces that the callback received.
inline Generation generate(LlamaEngine &engine, const QList<ChatMessage> &conversation,
                           int maxTokens = 200)
{
    Generation generation;
    InferenceEngine::OnToken onToken = [&](const QString &piece) { generation.pieces << piece; };
    const auto reply = awaited(engine.generate(conversation, maxTokens, std::move(onToken)));
    generation.text = reply.value.value_or(reply.error ? u"error: "_s + reply.error->description()
                                                       : u"no outcome"_s);
    return generation;
}

inline QString reply(LlamaEngine &engine, const QList<ChatMessage> &conversation,
                     int maxTokens = 200)
{
    return generate(engine, conversation, maxTokens).text;
}

/// An engine that decodes a real model file, which the test writes.
class LlamaEngineFixture : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        m_folder = std::make_unique<QTemporaryDir>();
        QVERIFY(m_folder->isValid());
    }

protected:
    [[nodiscard]] QString written(const TestModel &model)
    {
        const QString path = m_folder->filePath(u"größer %1.gguf"_s.arg(++m_files));
        model.write(path);
        return path;
    }

    void load(LlamaEngine &engine, const TestModel &model)
    {
        const auto error = awaitedError(engine.load(written(model)));
        QVERIFY2(!error, error ? error->what() : "");
        QVERIFY(engine.isLoaded());
    }

    std::unique_ptr<QTemporaryDir> m_folder;

private:
    int m_files = 0;
};
