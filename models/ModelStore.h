#pragma once

#include "models/LocalModel.h"

#include <QCoro/QCoroTask>
#include <QList>
#include <QString>

#include <exception>
#include <functional>

/// A file of the models folder that could not be put there or removed, told in one sentence.
class ModelStoreError : public std::exception
{
public:
    explicit ModelStoreError(const QString &sentence) : m_utf8(sentence.toUtf8()) {}

    [[nodiscard]] QString description() const { return QString::fromUtf8(m_utf8); }
    [[nodiscard]] const char *what() const noexcept override { return m_utf8.constData(); }

private:
    QByteArray m_utf8;
};

/// The files in the models folder, for users who manage them by hand. Each function blocks for as
/// long as the disk takes; one thread at a time. A model in use is not harmed: it stays what it
/// was until it is loaded again.
namespace ModelStore {
struct File
{
    QString name;
    qint64 bytes = 0;

    bool operator==(const File &) const = default;
};

enum class Placement {
    linked,   ///< The file has a second name in the folder and takes no more room.
    copied,   ///< The folder has a copy.
    isInPlace ///< The file was there already.
};

/// Told which share of a copy is done, 0 to 1.
using OnProgress = std::function<void(double fraction)>;

/// Loads a file once, to see that it is a model that works here. Throws ModelStoreError. Unlike the
/// others this does not block; on the main thread.
[[nodiscard]] QCoro::Task<> check(QString path);

/// All ordinary files in the folder, by name; not those of a download that is not complete.
[[nodiscard]] QList<File> files();

/// Puts a file into the folder under the model's name, instead of any that is there: as a hard link
/// if the file system can do that, else as a copy. Throws ModelStoreError. Does not look into it.
Placement place(const QString &source, const LocalModel &model, const OnProgress &onProgress);

/// Removes one of files(). Throws ModelStoreError.
void remove(const QString &name);

/// A size as users read it: "986.0 MB".
[[nodiscard]] QString sizeText(qint64 bytes);

/// Whether a file of that size may be the model's: sizes in the catalogue are approximate.
[[nodiscard]] bool isSizeOf(const LocalModel &model, qint64 bytes);
} // namespace ModelStore
