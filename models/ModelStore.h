#pragma once

#include "models/LocalModel.h"

#include <QCoro/QCoroTask>
#include <QList>
#include <QString>

#include <exception>
#include <functional>

/// A file could not be added to the models folder or removed from it. what() is one sentence.
class ModelStoreError : public std::exception
{
public:
    explicit ModelStoreError(const QString &sentence) : m_utf8(sentence.toUtf8()) {}

    [[nodiscard]] QString description() const { return QString::fromUtf8(m_utf8); }
    [[nodiscard]] const char *what() const noexcept override { return m_utf8.constData(); }

private:
    QByteArray m_utf8;
};

/// Manages the files in the models folder for the user. Each function blocks on the disk; not
/// thread-safe. A model in use is not affected until it is loaded again.
namespace ModelStore {
struct File
{
    QString name;
    qint64 bytes = 0;

    bool operator==(const File &) const = default;
};

enum class Placement {
    linked,   ///< The folder has a hard link to the file, which needs no space.
    copied,   ///< The folder has a copy.
    isInPlace ///< The file was there before.
};

/// Called with the progress of a copy, from 0 to 1.
using OnProgress = std::function<void(double fraction)>;

/// Loads a file once, to check that it is a working model. Throws ModelStoreError. Unlike the
/// others, asynchronous and on the main thread.
[[nodiscard]] QCoro::Task<> check(QString path);

/// All regular files in the folder, sorted by name, without those of incomplete downloads.
[[nodiscard]] QList<File> files();

/// Adds a file to the folder with the model's name and replaces an existing one: as a hard link if
/// the file system allows that, or else as a copy. Does not check the file. Throws ModelStoreError.
Placement place(const QString &source, const LocalModel &model, const OnProgress &onProgress);

/// Removes one of files(). Throws ModelStoreError.
void remove(const QString &name);

/// A size as users read it: "986.0 MB".
[[nodiscard]] QString sizeText(qint64 bytes);

/// Whether a file of that size may be the model, since sizes in the catalogue are approximate.
[[nodiscard]] bool isSizeOf(const LocalModel &model, qint64 bytes);
} // namespace ModelStore
