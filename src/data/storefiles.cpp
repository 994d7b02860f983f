#include "data/storefiles.h"

#include "base/coretext.h"
#include "base/pathlook.h"
#include "base/platform.h"
#include "base/safefile.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>

namespace {

constexpr qint64 pieceSize = 1 << 20;

bool fail(QString *reason, const QString &text)
{
    if (reason)
        *reason = text;
    return false;
}

} // namespace

QString storefiles::sensorPath(const QString &sessionFolder, const QString &name)
{
    return QDir::cleanPath(sessionFolder + QLatin1Char('/') + name);
}

QString storefiles::backupPath(const QString &indexPath)
{
    return indexPath + QStringLiteral(".bakup");
}

QString storefiles::backupTemporaryPath(const QString &indexPath)
{
    return indexPath + QStringLiteral(".bakup.tmp");
}

QString storefiles::asidePath(const QString &path)
{
    return path + QStringLiteral(".old");
}

bool storefiles::copyDurably(const QString &from, const QString &to, QString *reason)
{
    if (QFileInfo(from).isSymLink() || QFileInfo(to).isSymLink())
        return fail(reason, CoreText::tr("is a symbolic link"));
    if (pathlook::isNoFile(from) || pathlook::isNoFile(to))
        return fail(reason, CoreText::tr("is not a file"));
    QFile source(from);
    if (!source.open(QIODevice::ReadOnly | QIODevice::Unbuffered))
        return fail(reason, source.errorString());
    QFile target(to);
    if (!target.open(QIODevice::WriteOnly | QIODevice::Truncate | QIODevice::Unbuffered))
        return fail(reason, target.errorString());
    qint64 copied = 0;
    while (copied < source.size()) {
        const QByteArray piece = source.read(pieceSize);
        if (piece.isEmpty())
            return fail(reason, source.errorString());
        if (!writeAll(target, piece.constData(), piece.size(), reason))
            return false;
        copied += piece.size();
    }
    target.setFileTime(QFileInfo(from).lastModified(), QFileDevice::FileModificationTime);
    if (!platform::syncFile(target))
        return fail(reason, CoreText::tr("cannot be synced"));
    return true;
}

bool storefiles::overwrite(const QString &path, const QVector<QByteArray> &parts, QString *reason)
{
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate | QIODevice::Text | QIODevice::Unbuffered))
        return fail(reason, file.errorString());
    for (const QByteArray &part : parts) {
        if (!writeAll(file, part.constData(), part.size(), reason))
            return false;
    }
    if (!file.flush() || !platform::syncFile(file))
        return fail(reason, CoreText::tr("cannot be synced"));
    return true;
}

bool storefiles::sameContent(const QString &path, const QString &otherPath)
{
    QFile file(path);
    QFile other(otherPath);
    if (pathlook::isNoFile(path) || pathlook::isNoFile(otherPath))
        return false;
    if (!file.open(QIODevice::ReadOnly) || !other.open(QIODevice::ReadOnly) || file.size() != other.size())
        return false;
    while (!file.atEnd()) {
        const QByteArray piece = file.read(pieceSize);
        if (piece.isEmpty() || piece != other.read(pieceSize))
            return false;
    }
    return true;
}
