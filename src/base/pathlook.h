#pragma once

#include <QString>
#include <QStringList>

/// What the system says of a path. The toolkit's own questions take a disk that cannot be read for a file that is not
/// there; these tell one from the other, for those to whom it makes a difference whether something was ever stored.
/// Nothing is kept; any thread.
namespace pathlook {

enum class Kind {
    Nothing, // surely
    File,
    Folder,
    Other,   // a pipe, a device
    Unknown, // the system cannot say
};

/// A symbolic link is what it leads to.
Kind kindOf(const QString &path);

/// True unless nothing that could ever be read stands there: what was not read may be there all the same.
bool mayHoldFile(const QString &path);

/// True for a plain file that the system opens for reading.
bool canBeOpened(const QString &path);

/// True for what stands there and is no plain file: opening a pipe would block whoever opens it.
bool isNoFile(const QString &path);

/// The bytes of a file; -1 where none can be seen. One call of the system, for those who ask for many.
qint64 sizeOf(const QString &path);

/// The names in a folder, hidden ones too, symbolic links left out, in no order. None for what is no folder or not
/// there.
struct Listing
{
    QStringList files;
    QStringList folders;
    bool complete = true; // false: the system could not tell all of them
};
Listing list(const QString &folder);

} // namespace pathlook
