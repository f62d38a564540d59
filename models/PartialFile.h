#pragma once

#include <QFile>
#include <QString>

/// A temporary file in the folder of its destination, so that the destination is replaced
/// atomically: it always has a complete file or none. Used on one thread at a time. The destructor
/// removes the file unless it was moved. Operations that fail return false; errorString() then has
/// the system's description of the failure.
class PartialFile
{
public:
    PartialFile() = default;
    ~PartialFile();
    PartialFile(const PartialFile &) = delete;
    PartialFile &operator=(const PartialFile &) = delete;

    /// Creates a new file in the folder, with a unique name.
    [[nodiscard]] bool open(const QString &folder);
    [[nodiscard]] bool isOpen() const { return m_file.isOpen(); }
    [[nodiscard]] bool write(const char *data, qint64 size);
    /// Waits until all written data is on the disk.
    [[nodiscard]] bool flush();
    /// Moves the file to the path and replaces any file or folder there.
    [[nodiscard]] bool moveTo(const QString &path);
    [[nodiscard]] const QString &errorString() const { return m_error; }

    /// An unused path in the folder, for a file that is put into place in another way. sweep()
    /// removes a file that is left there.
    [[nodiscard]] static QString newPath(const QString &folder);

    /// Whether a file of that name is, or was, a partial one.
    [[nodiscard]] static bool isName(const QString &name);

    /// Removes the temporary files of processes that have ended without removing them. Files of
    /// running transfers are kept, also those of other processes.
    static void sweep(const QString &folder);

private:
    enum class Creation { done, taken, failed };
    [[nodiscard]] Creation create(const QString &folder);
    void discard();

    QFile m_file;
    QString m_error;
};
