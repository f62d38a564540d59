#include "app/Doctor.h"

#include "models/EngineLibrary.h"
#include "models/LocalModel.h"
#include "models/ModelManager.h"
#include "models/ModelStore.h"
#include "platform/Platform.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSysInfo>

#include <algorithm>
#include <filesystem>
#include <optional>
#include <system_error>

using namespace Qt::StringLiterals;

using Verdict = Finding::Verdict;

namespace {
// The first bytes of every model file.
const QByteArray modelMark = "GGUF"_ba;

constexpr qint64 megabyte = 1'000'000;

using ModelStore::sizeText;

QString fileOf(const LocalModel &model)
{
    return QDir(ModelManager::directory()).filePath(model.fileName);
}

// Free space in bytes; nothing if the file system does not tell.
std::optional<qint64> roomIn(const QString &folder)
{
    std::error_code error;
    const auto space = std::filesystem::space(QFile::encodeName(folder).constData(), error);
    if (error)
        return std::nullopt;
    return static_cast<qint64>(space.available);
}

Finding examineProgram()
{
    return {Verdict::good, u"%1 on %2, %3"_s.arg(QCoreApplication::applicationVersion(),
                                                 QSysInfo::prettyProductName(),
                                                 QSysInfo::currentCpuArchitecture())};
}

Finding examineModelsFolder()
{
    const QString folder = ModelManager::directory();
    const QFileInfo info(folder);
    const QString shown = QDir::toNativeSeparators(folder);
    if (!info.isDir() || !info.isWritable()) {
        return {Verdict::bad, u"%1 cannot be written to"_s.arg(shown),
                u"Make it a folder of yours that you may write to."_s};
    }
    const std::optional<qint64> room = roomIn(folder);
    if (!room)
        return {Verdict::good, shown};
    const QString state = u"%1, %2 free"_s.arg(shown, sizeText(*room));
    const QList<LocalModel> &catalog = LocalModel::catalog();
    if (std::ranges::any_of(catalog, ModelManager::hasFile) ||
        *room >= catalog.first().sizeMB * megabyte)
        return {Verdict::good, state};
    return {
        Verdict::bad, state,
        u"Make room for a model of about %1."_s.arg(sizeText(catalog.first().sizeMB * megabyte))};
}

Finding examineModel(const LocalModel &model)
{
    const QString wanted = sizeText(model.sizeMB * megabyte);
    if (!ModelManager::hasFile(model)) {
        const QString state = u"not there, about %1 to fetch"_s.arg(wanted);
        if (std::ranges::any_of(LocalModel::catalog(), ModelManager::hasFile))
            return {Verdict::neutral, state};
        return {Verdict::limited, state,
                u"The first task fetches the model that is chosen, once."_s};
    }
    QFile file(fileOf(model));
    if (!file.open(QIODevice::ReadOnly)) {
        return {Verdict::bad, u"there, but it cannot be read"_s,
                u"Make %1 a file that you may read."_s.arg(file.fileName())};
    }
    if (file.read(modelMark.size()) != modelMark) {
        return {Verdict::bad, u"there (%1), but it is no model"_s.arg(sizeText(file.size())),
                u"Delete %1: the next task fetches it again."_s.arg(file.fileName())};
    }
    const QString there = sizeText(file.size());
    if (!ModelStore::isSizeOf(model, file.size())) {
        return {Verdict::limited, u"there, %1 instead of about %2"_s.arg(there, wanted),
                u"It is another model, or not all of it. \"quillon --models remove %1\" removes "
                "it; the next task then fetches the right one."_s.arg(model.id)};
    }
    return {Verdict::good, u"there, %1"_s.arg(there)};
}

Finding examineLibrary()
{
    const EngineLibrary library = EngineLibrary::current();
    if (library.backends.isEmpty()) {
        return {Verdict::bad, u"%1, without code for this processor"_s.arg(library.version),
                u"Install Quillon again: libraries that belong to it are missing."_s};
    }
    return {Verdict::good,
            u"%1, computing with %2 (%3)"_s.arg(library.version, library.backends.join(u" and "_s),
                                                library.extensions.join(u", "_s))};
}
} // namespace

QList<Doctor::Line> Doctor::examine()
{
    Diagnosis &system = Platform::current().diagnosis();
    const Finding display = system.display();
    const Finding unknown{Verdict::neutral, u"not known without a display"_s};
    const bool hasDisplay = display.verdict != Verdict::bad;

    QList<Line> report{{u"Quillon"_s, examineProgram()},
                       {u"Display"_s, display},
                       {u"Accessibility"_s, system.accessibility()},
                       {u"Hot key"_s, hasDisplay ? system.hotKey() : unknown},
                       {u"Models folder"_s, examineModelsFolder()}};
    for (const LocalModel &model : LocalModel::catalog())
        report.append({model.name, examineModel(model)});
    report.append({u"llama.cpp"_s, examineLibrary()});
    report.append({u"Screen capture"_s, hasDisplay ? system.screenCapture() : unknown});
    report.append({u"File manager"_s, system.fileManager()});
    return report;
}

bool Doctor::isHealthy(const QList<Line> &report)
{
    return std::ranges::none_of(
        report, [](const Line &line) { return line.finding.verdict == Verdict::bad; });
}

QString Doctor::text(const Line &line)
{
    const auto mark = [&]() -> QChar {
        switch (line.finding.verdict) {
        case Verdict::good:
            return u'✓';
        case Verdict::neutral:
            return u'–';
        case Verdict::limited:
            return u'!';
        case Verdict::bad:
            return u'✗';
        }
        Q_UNREACHABLE();
    };
    const QString text = u"%1 %2: %3."_s.arg(mark()).arg(line.subject, line.finding.state);
    return line.finding.advice.isEmpty() ? text : text + u' ' + line.finding.advice;
}
