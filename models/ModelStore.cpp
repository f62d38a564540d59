#include "models/ModelStore.h"

#include "inference/LlamaEngine.h"
#include "models/ModelManager.h"
#include "models/PartialFile.h"
#include "models/TransferError.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QLocale>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <memory>
#include <system_error>
#include <vector>

using namespace Qt::StringLiterals;

namespace {
constexpr qint64 megabyte = 1'000'000;

// The sizes of the catalogue are rounded to the megabyte; other editions of a model differ by more.
constexpr double sizeTolerance = 0.05;

constexpr qint64 pieceBytes = 4LL * 1024 * 1024;

std::filesystem::path native(const QString &path)
{
    return QFile::encodeName(path).constData();
}

[[noreturn]] void fail(const QString &source, const QString &reason)
{
    throw ModelStoreError(
        u"“%1” could not be put into the models folder: %2."_s.arg(source, reason));
}

// False if the file system has no such links, or the file is on another one.
bool link(const QString &source, const QString &destination)
{
    // First beside the destination, so that the destination is replaced atomically.
    const std::filesystem::path beside =
        native(PartialFile::newPath(QFileInfo(destination).path()));
    std::error_code error;
    std::filesystem::create_hard_link(native(QFileInfo(source).canonicalFilePath()), beside, error);
    if (error)
        return false;
    std::filesystem::rename(beside, native(destination), error);
    if (!error)
        return true;
    std::filesystem::remove(beside, error);
    return false;
}

// Throws a TransferError if the copy cannot be written.
void copy(const QString &source, const QString &destination,
          const ModelStore::OnProgress &onProgress)
{
    QFile from(source);
    if (!from.open(QIODevice::ReadOnly | QIODevice::Unbuffered))
        fail(source, from.errorString());
    PartialFile to;
    to.open(QFileInfo(destination).path());
    std::vector<char> piece(pieceBytes);
    qint64 done = 0;
    while (true) {
        const qint64 length = from.read(piece.data(), pieceBytes);
        if (length < 0)
            fail(source, from.errorString());
        if (length == 0)
            break;
        to.write(piece.data(), length);
        done += length;
        onProgress(static_cast<double>(done) / static_cast<double>(std::max(done, from.size())));
    }
    // Before the move: otherwise a power cut could leave an empty file at the destination.
    to.flush();
    to.moveTo(destination);
}
} // namespace

QCoro::Task<> ModelStore::check(QString path)
{
    // The file is mapped, not read completely; a truncated file still fails.
    const auto engine = std::make_shared<LlamaEngine>();
    try {
        co_await engine->load(path);
    } catch (const InferenceError &error) {
        throw ModelStoreError(u"“%1” cannot be used: %2"_s.arg(path, error.description()));
    }
}

QList<ModelStore::File> ModelStore::files()
{
    QList<File> all;
    const QDir folder(ModelManager::directory());
    for (const QFileInfo &info : folder.entryInfoList(QDir::Files | QDir::Hidden, QDir::Name)) {
        if (!PartialFile::isName(info.fileName()))
            all.append({info.fileName(), info.size()});
    }
    return all;
}

ModelStore::Placement ModelStore::place(const QString &source, const LocalModel &model,
                                        const OnProgress &onProgress)
{
    const QString destination = QDir(ModelManager::directory()).filePath(model.fileName);
    // Renaming one hard link of a file to another would leave both.
    std::error_code error;
    if (std::filesystem::equivalent(native(source), native(destination), error))
        return Placement::isInPlace;
    if (link(source, destination))
        return Placement::linked;
    try {
        copy(source, destination, onProgress);
    } catch (const TransferError &problem) {
        fail(source, problem.description());
    }
    return Placement::copied;
}

void ModelStore::remove(const QString &name)
{
    const QList<File> all = files();
    if (std::ranges::none_of(all, [&](const File &file) { return file.name == name; }))
        throw ModelStoreError(u"There is no “%1” in the models folder."_s.arg(name));
    QFile file(QDir(ModelManager::directory()).filePath(name));
    if (!file.remove())
        throw ModelStoreError(u"“%1” could not be removed: %2."_s.arg(name, file.errorString()));
}

QString ModelStore::sizeText(qint64 bytes)
{
    return QLocale::c().formattedDataSize(bytes, 1, QLocale::DataSizeSIFormat);
}

bool ModelStore::isSizeOf(const LocalModel &model, qint64 bytes)
{
    const auto wanted = static_cast<double>(model.sizeMB * megabyte);
    return std::abs(static_cast<double>(bytes) - wanted) <= wanted * sizeTolerance;
}
