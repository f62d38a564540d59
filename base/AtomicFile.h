#pragma once

#include <QByteArray>
#include <QString>

#include <filesystem>
#include <stdexcept>

/// The reason why a file could not be written, as one sentence for the user in UTF-8.
class AtomicFileError final : public std::runtime_error
{
public:
    explicit AtomicFileError(const QString &sentence) : runtime_error(sentence.toStdString()) {}
};

/// Writes a file atomically. Unlike QSaveFile, which writes to the target of a link, it replaces
/// the link: programs that can write into the folder must not be able to choose another file.
namespace AtomicFile {
/// Writes the file beside its destination and moves it there once it is on the disk. On failure,
/// throws an AtomicFileError and leaves no file. Any thread.
void write(const std::filesystem::path &path, const QByteArray &content);
} // namespace AtomicFile
