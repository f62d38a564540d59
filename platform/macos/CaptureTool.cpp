#include "platform/macos/CaptureTool.h"

#include "base/Futures.h"
#include "platform/PlatformError.h"

#include <QFile>
#include <QProcess>
#include <QTimer>

#include <chrono>
#include <memory>

using namespace Qt::StringLiterals;

namespace {
// Far longer than a capture takes, in case the tool hangs.
constexpr std::chrono::seconds limit{30};
} // namespace

QFuture<void> CaptureTool::run(const QString &program, const std::filesystem::path &file)
{
    const auto promise = std::make_shared<QPromise<void>>();
    promise->start();
    auto *const tool = new QProcess;
    tool->setStandardInputFile(QProcess::nullDevice());
    tool->setStandardOutputFile(QProcess::nullDevice());
    tool->setStandardErrorFile(QProcess::nullDevice());
    QObject::connect(tool, &QProcess::finished, tool, [tool, promise] {
        promise->finish();
        tool->deleteLater();
    });
    QObject::connect(tool, &QProcess::errorOccurred, tool,
                     [tool, promise](QProcess::ProcessError error) {
                         // After any other error, finished() is emitted.
                         if (error != QProcess::FailedToStart)
                             return;
                         Futures::fail(*promise, PlatformError(tool->errorString()));
                         tool->deleteLater();
                     });
    QTimer::singleShot(limit, tool, &QProcess::kill);
    tool->start(program, {u"-x"_s, QFile::decodeName(file.c_str())});
    return promise->future();
}
