#pragma once

#include <QByteArray>
#include <QFile>
#include <QString>

/// The one way a file of a session is replaced: the new content goes to a temporary name in the same folder, every
/// write, the flush and the sync are checked, then the temporary takes the file's name and the folder is synced. At any
/// moment the file is either the old one or the new one. A symbolic link at the target is refused.
///
/// Used from one thread at a time. Dropping the object without commit() removes the temporary.
class SafeFile
{
public:
    explicit SafeFile(const QString &path);
    ~SafeFile();
    SafeFile(const SafeFile &) = delete;
    SafeFile &operator=(const SafeFile &) = delete;

    /// Creates the temporary file. False when that fails; error() says why.
    bool open();

    /// Where the new content stands until commit(), for a library that writes a file by its name.
    QString temporaryPath() const { return m_temporary.fileName(); }

    /// Appends bytes. False after the first failure, and from then on.
    bool write(const char *data, qint64 size);
    bool write(const QByteArray &bytes) { return write(bytes.constData(), bytes.size()); }

    /// Makes the new content the file's. False when any step failed: the old file is then untouched. One who writes
    /// many files into one folder may sync it once, after the last.
    enum class SyncFolder { Now, Later };
    bool commit(SyncFolder syncFolder = SyncFolder::Now);

    /// The first failure in words ("No space left on device"), empty while all is well.
    QString error() const { return m_error; }

    /// Names that a killed program may leave behind; ignored by readers and removed when a folder is loaded.
    static bool isTemporaryName(const QString &fileName);

private:
    bool fail(const QString &reason);

    QString m_path;
    QFile m_temporary;
    QString m_error;
};

/// Writes all of `bytes`. False and a reason otherwise: a disk that gets full takes a part without a word and says why
/// only when it is given the rest.
bool writeAll(QIODevice &file, const char *bytes, qint64 size, QString *error);

/// True when `size` bytes were read into `buffer`.
bool readExactly(QIODevice &file, void *buffer, qint64 size);

/// Replaces the file at `path` by `bytes` with a SafeFile. On failure `error` (when given) says why.
bool writeFileSafely(const QString &path, const QByteArray &bytes, QString *error = nullptr);

/// Makes a folder and those above it that are missing, and syncs every name that is new, so that what is saved in it
/// later is not lost with it. False when that fails. A folder that is there already gets its name synced too, for the
/// case that the program which made it was killed in between; then without telling when it fails.
bool makeFolderSafely(const QString &path);

/// Reads a whole file of at most `maximumSize` bytes. False and a reason when it cannot be opened, read or is larger.
bool readWholeFile(const QString &path, QByteArray &bytes, qint64 maximumSize, QString *error = nullptr);
