// The input is a model file: the engine must load it or fail, then generate or fail, and the
// program must not crash.
#include "fuzz/Require.h"
#include "inference/LlamaEngine.h"

#include <QCoreApplication>
#include <QCoro/QCoroTask>
#include <QTemporaryFile>

#include <cstdint>

using namespace Qt::StringLiterals;

namespace {
QCoro::Task<> use(LlamaEngine &engine, QString path)
{
    bool loaded = false;
    try {
        co_await engine.load(path);
        loaded = true;
    } catch (const InferenceError &error) {
        require(error == InferenceError::loadFailed || error == InferenceError::contextFailed,
                "a file that does not load fails for one of two reasons");
    }
    require(engine.isLoaded() == loaded, "loaded means loaded");
    const QList<ChatMessage> conversation{{Role::user, u"Hello"_s}};
    try {
        const QString reply = co_await engine.generate(conversation, 4, {});
        require(loaded, "nothing is generated without a model");
        require(reply.size() <= qsizetype{4} * 64, "a token is at most 64 bytes of text");
    } catch (const InferenceError &error) {
        require(loaded || error == InferenceError::notLoaded, "without a model it says so");
    }
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    static int argc = 1;
    static char name[] = "fuzz_gguf";
    static char *argv[] = {name, nullptr};
    static const QCoreApplication application(argc, argv);
    static LlamaEngine engine;

    QTemporaryFile file;
    require(file.open(), "there is room for a file");
    file.write(reinterpret_cast<const char *>(data), static_cast<qsizetype>(size));
    file.close();
    QCoro::waitFor(use(engine, file.fileName()));
    return 0;
}
