#include "base/safefile.h"

#include "base/coretext.h"
#include "base/pathlook.h"
#include "base/platform.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>

#include <atomic>

namespace {

const QLatin1String temporaryMark(".norvex-tmp");

QString temporaryName(const QString &path)
{
    static std::atomic<unsigned> counter{0};
    return QStringLiteral("%1.%2-%3%4")
        .arg(path)
        .arg(QCoreApplication::applicationPid())
        .arg(counter.fetch_add(1))
        .arg(temporaryMark);
}

} // namespace

SafeFile::SafeFile(const QString &path) : m_path(path), m_temporary(temporaryName(path)) {}

SafeFile::~SafeFile()
{
    if (m_temporary.isOpen()) {
        m_temporary.close();
        m_temporary.remove();
    }
}

bool SafeFile::isTemporaryName(const QString &fileName)
{
    return fileName.endsWith(temporaryMark);
}

bool SafeFile::fail(const QString &reason)
{
    if (m_error.isEmpty())
        m_error = reason;
    return false;
}

bool SafeFile::open()
{
    const QFileInfo target(m_path);
    if (target.isSymLink())
        return fail(CoreText::tr("%1 is a symbolic link").arg(m_path));
    if (target.isDir())
        return fail(CoreText::tr("%1 is a folder").arg(m_path));
    if (!m_temporary.open(QIODevice::WriteOnly | QIODevice::NewOnly | QIODevice::Unbuffered))
        return fail(m_temporary.errorString());
    return true;
}

bool SafeFile::write(const char *data, qint64 size)
{
    if (!m_error.isEmpty())
        return false;
    QString reason;
    return writeAll(m_temporary, data, size, &reason) || fail(reason);
}

bool SafeFile::commit(SyncFolder syncFolder)
{
    if (!m_error.isEmpty() || !m_temporary.isOpen())
        return fail(CoreText::tr("the file was not written"));
    if (!m_temporary.flush() || !platform::syncFile(m_temporary))
        return fail(CoreText::tr("cannot sync %1").arg(m_temporary.fileName()));
    m_temporary.close();
    if (!platform::replaceFile(m_temporary.fileName(), m_path)) {
        m_temporary.remove();
        return fail(CoreText::tr("cannot rename %1 to %2").arg(m_temporary.fileName(), m_path));
    }
    if (syncFolder == SyncFolder::Now && !platform::syncFolder(QFileInfo(m_path).absolutePath()))
        return fail(CoreText::tr("cannot sync the folder of %1").arg(m_path));
    return true;
}

bool writeAll(QIODevice &file, const char *bytes, qint64 size, QString *error)
{
    for (qint64 done = 0; done < size;) {
        const qint64 taken = file.write(bytes + done, size - done);
        if (taken <= 0) {
            if (error)
                *error = file.errorString();
            return false;
        }
        done += taken;
    }
    return true;
}

bool readExactly(QIODevice &file, void *buffer, qint64 size)
{
    for (qint64 done = 0; done < size;) {
        const qint64 got = file.read(static_cast<char *>(buffer) + done, size - done);
        if (got <= 0)
            return false;
        done += got;
    }
    return true;
}

bool writeFileSafely(const QString &path, const QByteArray &bytes, QString *error)
{
    SafeFile file(path);
    const bool ok = file.open() && file.write(bytes) && file.commit();
    if (!ok && error)
        *error = file.error();
    return ok;
}

bool makeFolderSafely(const QString &path)
{
    const QString folder = QDir(path).absolutePath();
    const QString parent = QFileInfo(folder).absolutePath();
    if (QFileInfo(folder).isDir()) {
        platform::syncFolder(parent);
        return true;
    }
    const bool parentIsThere = parent == folder || QFileInfo(parent).isDir() || makeFolderSafely(parent);
    return parentIsThere && (QDir().mkdir(folder) || QFileInfo(folder).isDir()) && platform::syncFolder(parent);
}

bool readWholeFile(const QString &path, QByteArray &bytes, qint64 maximumSize, QString *error)
{
    QFile file(path);
    const auto fail = [&](const QString &reason) {
        if (error)
            *error = reason;
        return false;
    };
    if (pathlook::isNoFile(path))
        return fail(CoreText::tr("%1 is not a file").arg(path));
    if (!file.open(QIODevice::ReadOnly))
        return fail(file.errorString());
    if (file.size() > maximumSize)
        return fail(CoreText::tr("%1 is larger than %2 bytes").arg(path).arg(maximumSize));
    // Asked for what the file says it has and not for the most: the toolkit sets aside all that it is asked for.
    bytes = file.read(file.size() + 1);
    for (QByteArray grown = bytes; !grown.isEmpty() && bytes.size() <= maximumSize; bytes += grown)
        grown = file.read(64 * 1024);
    if (file.error() != QFileDevice::NoError)
        return fail(file.errorString());
    if (bytes.size() > maximumSize)
        return fail(CoreText::tr("%1 is larger than %2 bytes").arg(path).arg(maximumSize));
    return true;
}
