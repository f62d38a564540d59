#include "app/Doctor.h"

#include "inference/LlamaModel.h"
#include "models/LocalModel.h"
#include "models/ModelManager.h"
#include "platform/Platform.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QLocale>
#include <QSysInfo>

#include <algorithm>
#include <filesystem>
#include <optional>
#include <system_error>

using Verdict = Finding::Verdict;

namespace {
// What every model file begins with.
const QByteArray modelMark = QByteArrayLiteral("GGUF");

constexpr qint64 megabyte = 1'000'000;

QString size(qint64 bytes)
{
    return QLocale::c().formattedDataSize(bytes, 1, QLocale::DataSizeSIFormat);
}

QString fileOf(const LocalModel &model)
{
    return QDir(ModelManager::directory()).filePath(model.fileName);
}

bool isThere(const LocalModel &model)
{
    return QFileInfo::exists(fileOf(model));
}

// Nothing where the file system does not say.
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
    return {Verdict::good,
            QStringLiteral("%1 on %2, %3")
                .arg(QCoreApplication::applicationVersion(), QSysInfo::prettyProductName(),
                     QSysInfo::currentCpuArchitecture())};
}

Finding examineModelsFolder()
{
    const QString folder = ModelManager::directory();
    const QFileInfo info(folder);
    const QString shown = QDir::toNativeSeparators(folder);
    if (!info.isDir() || !info.isWritable()) {
        return {Verdict::bad, QStringLiteral("%1 cannot be written to").arg(shown),
                QStringLiteral("Make it a folder of yours that you may write to.")};
    }
    const std::optional<qint64> room = roomIn(folder);
    if (!room)
        return {Verdict::good, shown};
    const QString state = QStringLiteral("%1, %2 free").arg(shown, size(*room));
    const QList<LocalModel> &catalog = LocalModel::catalog();
    if (std::ranges::any_of(catalog, isThere) || *room >= catalog.first().sizeMB * megabyte)
        return {Verdict::good, state};
    return {Verdict::bad, state,
            QStringLiteral("Make room for a model of about %1.")
                .arg(size(catalog.first().sizeMB * megabyte))};
}

Finding examineModel(const LocalModel &model)
{
    const QString wanted = size(model.sizeMB * megabyte);
    if (!isThere(model)) {
        const QString state = QStringLiteral("not there, about %1 to fetch").arg(wanted);
        if (std::ranges::any_of(LocalModel::catalog(), isThere))
            return {Verdict::neutral, state};
        return {Verdict::limited, state,
                QStringLiteral("The first task fetches the model that is chosen, once.")};
    }
    QFile file(fileOf(model));
    if (!file.open(QIODevice::ReadOnly)) {
        return {Verdict::bad, QStringLiteral("there, but it cannot be read"),
                QStringLiteral("Make %1 a file that you may read.").arg(file.fileName())};
    }
    if (file.read(modelMark.size()) != modelMark) {
        return {Verdict::bad,
                QStringLiteral("there (%1), but it is no model").arg(size(file.size())),
                QStringLiteral("Delete %1: the next task fetches it again.").arg(file.fileName())};
    }
    return {Verdict::good, QStringLiteral("there, %1").arg(size(file.size()))};
}

Finding examineLibrary()
{
    const LlamaModel::Library library = LlamaModel::library();
    if (library.kernels.isEmpty()) {
        return {Verdict::bad,
                QStringLiteral("%1, without code for this processor").arg(library.version),
                QStringLiteral("Install Quillon again: libraries that belong to it are missing.")};
    }
    return {Verdict::good, QStringLiteral("%1, computing with %2 (%3)")
                               .arg(library.version, library.kernels.join(QStringLiteral(" and ")),
                                    library.extensions.join(QStringLiteral(", ")))};
}
} // namespace

QList<Doctor::Line> Doctor::examine()
{
    Diagnosis &system = Platform::current().diagnosis();
    const Finding display = system.display();
    const Finding unknown{Verdict::neutral, QStringLiteral("not known without a display")};
    const bool hasDisplay = display.verdict != Verdict::bad;

    QList<Line> report{{QStringLiteral("Quillon"), examineProgram()},
                       {QStringLiteral("Display"), display},
                       {QStringLiteral("Accessibility"), system.accessibility()},
                       {QStringLiteral("Hot key"), hasDisplay ? system.hotKey() : unknown},
                       {QStringLiteral("Models folder"), examineModelsFolder()}};
    for (const LocalModel &model : LocalModel::catalog())
        report.append({model.name, examineModel(model)});
    report.append({QStringLiteral("llama.cpp"), examineLibrary()});
    report.append(
        {QStringLiteral("Screen capture"), hasDisplay ? system.screenCapture() : unknown});
    report.append({QStringLiteral("File manager"), system.fileManager()});
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
    const QString text =
        QStringLiteral("%1 %2: %3.").arg(mark()).arg(line.subject, line.finding.state);
    return line.finding.advice.isEmpty() ? text : text + u' ' + line.finding.advice;
}
