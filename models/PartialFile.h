#pragma once

#include <QFile>
#include <QString>

/// A file that is filled beside the place where it will stand, so that the place holds a whole file
/// or none at any moment. Used on one thread at a time. It is removed when it is destroyed, unless
/// it was moved into place. Operations that fail return false and leave their reason, in the
/// system's words, in errorString().
class PartialFile
{
public:
    PartialFile() = default;
    ~PartialFile();
    PartialFile(const PartialFile &) = delete;
    PartialFile &operator=(const PartialFile &) = delete;

    /// Makes a new file in the folder, under a name that nothing else has.
    [[nodiscard]] bool open(const QString &folder);
    [[nodiscard]] bool isOpen() const { return m_file.isOpen(); }
    [[nodiscard]] bool write(const char *data, qint64 size);
    /// Waits until everything that was written has reached the disk.
    [[nodiscard]] bool flush();
    /// Puts the file in its place, instead of any file or folder there.
    [[nodiscard]] bool moveTo(const QString &path);
    [[nodiscard]] const QString &errorString() const { return m_error; }

    /// Removes from the folder what processes left there that did not live to tidy up. The files
    /// of running transfers stay, in whichever process they run.
    static void sweep(const QString &folder);

private:
    enum class Creation { done, taken, failed };
    [[nodiscard]] Creation create(const QString &folder);
    void discard();

    QFile m_file;
    QString m_error;
};
