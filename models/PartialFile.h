#pragma once

#include <QFile>
#include <QString>

/// A temporary file in the folder of its destination, so that the destination is replaced
/// atomically: it always has a complete file or none. Used on one thread at a time. The destructor
/// removes the file unless it was moved. Operations that fail throw a TransferError with the
/// system's description of the failure.
///
/// Unlike that of QSaveFile, the file is locked, so that sweep() can tell the file of a process
/// that was killed from that of a running transfer, and it can replace a folder.
class PartialFile
{
public:
    PartialFile() = default;
    ~PartialFile();
    PartialFile(const PartialFile &) = delete;
    PartialFile &operator=(const PartialFile &) = delete;

    /// Creates a new file in the folder, with a unique name.
    void open(const QString &folder);
    [[nodiscard]] bool isOpen() const { return m_file.isOpen(); }
    void write(const char *data, qint64 size);
    /// Waits until all written data is on the disk.
    void flush();
    /// Moves the file to the path and replaces any file or folder there.
    void moveTo(const QString &path);

    /// An unused path in the folder, for a file that is put into place in another way. sweep()
    /// removes a file that is left there.
    [[nodiscard]] static QString newPath(const QString &folder);

    /// Whether a file of that name is, or was, a partial one.
    [[nodiscard]] static bool isName(const QString &name);

    /// Removes the temporary files of processes that have ended without removing them. Files of
    /// running transfers are kept, also those of other processes.
    static void sweep(const QString &folder);

private:
    /// False if the name was taken.
    [[nodiscard]] bool create(const QString &folder);
    void discard();

    QFile m_file;
};
