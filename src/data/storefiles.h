#pragma once

#include <QByteArray>
#include <QString>
#include <QVector>

/// The file operations of a store's index and its backup.
namespace storefiles {

/// "<session>/<sensor folder>", in one form however the session's path is written.
QString sensorPath(const QString &sessionFolder, const QString &name);
/// "<index>.bakup"; exists only while a save is in progress.
QString backupPath(const QString &indexPath);
/// The name a backup has while it is copied.
QString backupTemporaryPath(const QString &indexPath);
/// The name of a file that is in the way and kept.
QString asidePath(const QString &path);

/// Copies a file's bytes and its modification time over whatever `to` is, and syncs them. A symbolic link is refused.
bool copyDurably(const QString &from, const QString &to, QString *reason = nullptr);
/// Truncates the text file at `path`, writes `parts` one after the other and syncs them.
bool overwrite(const QString &path, const QVector<QByteArray> &parts, QString *reason = nullptr);
bool sameContent(const QString &path, const QString &otherPath);

} // namespace storefiles
