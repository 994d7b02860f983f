#include "session/sessioncopy.h"

#include "base/coretext.h"
#include "base/jobprogress.h"
#include "base/platform.h"
#include "base/safefile.h"
#include "session/session.h"

#include <QDateTime>
#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>

#include <cstring>

namespace {

using Kind = CopyOutcome::Kind;

constexpr qint64 pieceSize = 1 << 20;

/// Files of the moment stay behind: the index's backup and what a killed writer left.
bool belongsToCopy(const QString &name)
{
    return !SafeFile::isTemporaryName(name) && !name.contains(QLatin1String(".bakup"));
}

/// Reads a copy back beside the file it was made of. False and a reason when they are not the same.
bool compare(const QString &from, const QString &to, QByteArray &buffer, QByteArray &other, QString &reason)
{
    QFile source(from);
    QFile copy(to);
    for (QFile *file : {&source, &copy}) {
        if (file->open(QIODevice::ReadOnly | QIODevice::Unbuffered))
            continue;
        reason = file->errorString();
        return false;
    }
    while (true) {
        const qint64 got = source.read(buffer.data(), buffer.size());
        const qint64 gotCopy = copy.read(other.data(), other.size());
        if (got != gotCopy || got < 0 || std::memcmp(buffer.constData(), other.constData(), size_t(got)) != 0) {
            reason = got < 0       ? source.errorString()
                     : gotCopy < 0 ? copy.errorString()
                                   : CoreText::tr("it is not the same");
            return false;
        }
        if (got == 0)
            return true;
    }
}

/// Writes a copy and syncs it.
bool writeCopy(const QString &from, const QString &to, QByteArray &buffer, qint64 &size, QString &reason)
{
    QFile source(from);
    QFile target(to);
    const auto fail = [&reason](const QFile &file) {
        reason = file.errorString();
        return false;
    };
    if (!source.open(QIODevice::ReadOnly | QIODevice::Unbuffered))
        return fail(source);
    if (!target.open(QIODevice::WriteOnly | QIODevice::Truncate | QIODevice::Unbuffered))
        return fail(target);
    size = 0;
    while (true) {
        const qint64 got = source.read(buffer.data(), buffer.size());
        if (got < 0)
            return fail(source);
        if (got == 0)
            break;
        if (!writeAll(target, buffer.constData(), got, &reason))
            return false;
        size += got;
    }
    target.setFileTime(QFileInfo(from).lastModified(), QFileDevice::FileModificationTime);
    if (platform::syncFile(target))
        return true;
    reason = CoreText::tr("it cannot be synced");
    return false;
}

} // namespace

SessionCopy::SessionCopy(const QString &from, const QString &to)
    : m_from(QDir(from).absolutePath()), m_to(QDir(to).absolutePath()), m_buffer(pieceSize, Qt::Uninitialized),
      m_other(pieceSize, Qt::Uninitialized)
{}

bool SessionCopy::stop(Kind kind, const QString &reason)
{
    m_outcome.kind = kind;
    m_outcome.reason = reason;
    return false;
}

bool SessionCopy::begin()
{
    const QDir target(m_to);
    const bool inside = m_to == m_from || m_to.startsWith(m_from + QLatin1Char('/'));
    if (inside || (target.exists() && !target.isEmpty(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot)))
        return stop(Kind::NotEmpty, CoreText::tr("The folder %1 must be empty or new").arg(m_to));
    QStringList missing; // innermost first
    for (QString path = m_to; !QFileInfo::exists(path) && path != QFileInfo(path).path(); path = QFileInfo(path).path())
        missing.append(path);
    if (!QDir().mkpath(m_to))
        return stop(Kind::Failed, CoreText::tr("Cannot create the folder %1").arg(m_to));
    while (!missing.isEmpty())
        m_madeFolders.append(missing.takeLast());
    return true;
}

bool SessionCopy::list(const QStringList &sensorFolders, QVector<Task> &tasks, bool onlyChanged)
{
    const auto add = [&](const QString &name, const QFileInfo &file) {
        const QFileInfo copy(m_to + QLatin1Char('/') + name);
        const bool same = copy.exists() && copy.size() == file.size() && copy.lastModified() == file.lastModified();
        if (!onlyChanged || !same)
            tasks.append({name, file.size()});
    };
    for (const QString &folder : sensorFolders) {
        const QString path = m_from + QLatin1Char('/') + folder;
        if (!QFileInfo(path).isDir())
            return stop(Kind::Failed, CoreText::tr("There is no folder %1").arg(path));
        QDirIterator files(path, QDir::Files | QDir::Hidden | QDir::NoSymLinks);
        while (files.hasNext()) {
            files.next();
            if (belongsToCopy(files.fileName()))
                add(folder + QLatin1Char('/') + files.fileName(), files.fileInfo());
        }
    }
    const QFileInfo session(m_from + QLatin1Char('/') + Session::fileName());
    if (session.exists())
        add(Session::fileName(), session);
    return true;
}

bool SessionCopy::makeFolders(const QStringList &sensorFolders)
{
    for (const QString &folder : sensorFolders) {
        const QString path = m_to + QLatin1Char('/') + folder;
        if (QFileInfo(path).isDir())
            continue;
        if (!QDir().mkdir(path))
            return stop(Kind::Failed, CoreText::tr("Cannot create the folder %1").arg(path));
        m_madeFolders.append(path);
    }
    return true;
}

bool SessionCopy::copyFile(const Task &task)
{
    const QString from = m_from + QLatin1Char('/') + task.name;
    const QString to = m_to + QLatin1Char('/') + task.name;
    qint64 size = 0;
    QString reason;
    m_madeFiles.append(to);
    if (!writeCopy(from, to, m_buffer, size, reason))
        return stop(Kind::Failed, CoreText::tr("Cannot copy %1: %2").arg(task.name, reason));
    if (!compare(from, to, m_buffer, m_other, reason))
        return stop(Kind::Failed, CoreText::tr("The copy of %1 cannot be trusted: %2").arg(task.name, reason));
    ++m_outcome.files;
    m_outcome.bytes += size;
    return true;
}

bool SessionCopy::copyAll(const QVector<Task> &tasks, JobProgress *progress)
{
    for (const Task &task : tasks) {
        if (progress) {
            progress->setName(task.name);
            if (progress->isCancelled())
                return stop(Kind::Cancelled);
        }
        if (!copyFile(task))
            return false;
        if (progress)
            progress->advance(task.size);
    }
    return true;
}

bool SessionCopy::syncFolders(const QStringList &sensorFolders)
{
    bool ok = platform::syncFolder(m_to) && platform::syncFolder(QFileInfo(m_to).path());
    for (const QString &folder : sensorFolders)
        ok = platform::syncFolder(m_to + QLatin1Char('/') + folder) && ok;
    return ok || stop(Kind::Failed, CoreText::tr("The folder %1 cannot be synced").arg(m_to));
}

bool SessionCopy::copy(const QStringList &sensorFolders, JobProgress *progress)
{
    QVector<Task> tasks;
    if (!list(sensorFolders, tasks, false))
        return false;
    qint64 bytes = 0;
    for (const Task &task : qAsConst(tasks))
        bytes += task.size;
    if (progress)
        progress->begin(CoreText::tr("Copying"), bytes, JobProgress::Unit::Bytes);
    return makeFolders(sensorFolders) && copyAll(tasks, progress) && syncFolders(sensorFolders);
}

bool SessionCopy::refresh(const QStringList &sensorFolders)
{
    QVector<Task> tasks;
    if (!list(sensorFolders, tasks, true))
        return false;
    return tasks.isEmpty() || (makeFolders(sensorFolders) && copyAll(tasks, nullptr) && syncFolders(sensorFolders));
}

void SessionCopy::undo()
{
    for (const QString &path : qAsConst(m_madeFiles))
        QFile::remove(path);
    QDir().rmdir(m_to + QStringLiteral("/journal"));
    while (!m_madeFolders.isEmpty())
        QDir().rmdir(m_madeFolders.takeLast()); // only when nothing else has come into it
    m_madeFiles.clear();
}
