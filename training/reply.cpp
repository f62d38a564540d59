// Answers conversations with a model file, with the program's own engine and parser, so that the
// evaluation measures what users get. Reads one JSON object per line,
// `{"messages":[{"role":"user","content":"…"},…]}` without the system message, and writes one per
// line.
#include "agent/SystemPrompt.h"
#include "agent/action/AgentAction.h"
#include "inference/LlamaEngine.h"

#include <QCoreApplication>
#include <QCoro/QCoroTask>
#include <QElapsedTimer>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <cstdio>
#include <exception>
#include <iostream>
#include <string>

using namespace Qt::StringLiterals;

namespace {
// The program's limit for a reply.
constexpr int maxTokens = 200;

QList<ChatMessage> conversation(const QJsonObject &line)
{
    QList<ChatMessage> messages{{Role::system, systemPrompt()}};
    for (const auto &value : line["messages"_L1].toArray()) {
        const QJsonObject message = value.toObject();
        const bool isUser = message["role"_L1].toString() == u"user";
        messages.append({isUser ? Role::user : Role::assistant, message["content"_L1].toString()});
    }
    return messages;
}

QJsonObject answer(LlamaEngine &engine, const QJsonObject &line)
{
    QElapsedTimer watch;
    watch.start();
    const QString reply =
        QCoro::waitFor(engine.generate(conversation(line), maxTokens, [](const QString &) {}));
    QJsonObject result{{u"reply"_s, reply},
                       {u"seconds"_s, static_cast<double>(watch.elapsed()) / 1000}};
    if (const std::optional<AgentAction> action = AgentAction::parse(reply)) {
        QJsonObject args;
        for (const QString &key : action->args.keys()) {
            if (const std::optional<QString> value = action->arg(key))
                args[key] = *value;
        }
        result[u"action"_s] = action->name;
        result[u"args"_s] = args;
    }
    return result;
}
} // namespace

int main(int argc, char **argv)
{
    const QCoreApplication application(argc, argv);
    if (argc != 2) {
        std::fprintf(stderr, "usage: training-reply MODEL < conversations > replies\n");
        return 2;
    }
    try {
        LlamaEngine engine;
        QCoro::waitFor(engine.load(QString::fromLocal8Bit(argv[1])));
        for (std::string line; std::getline(std::cin, line);) {
            const QJsonObject object =
                QJsonDocument::fromJson(QByteArray::fromStdString(line)).object();
            const QByteArray out =
                QJsonDocument(answer(engine, object)).toJson(QJsonDocument::Compact);
            std::cout << out.toStdString() << '\n' << std::flush;
        }
    } catch (const std::exception &error) {
        std::fprintf(stderr, "training-reply: %s\n", error.what());
        return 1;
    }
    return 0;
}
