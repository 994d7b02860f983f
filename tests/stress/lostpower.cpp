#include "lostpower.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <cstring>
#include <fcntl.h>

using filecalls::Op;

QVector<TracedCall> readTrace(const QString &path)
{
    QVector<TracedCall> calls;
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return calls;
    const QByteArray bytes = file.readAll();
    filecalls::TraceEntry entry;
    for (int at = 0; at + int(sizeof entry) <= bytes.size();) {
        std::memcpy(&entry, bytes.constData() + at, sizeof entry);
        at += int(sizeof entry);
        TracedCall call;
        call.op = entry.op;
        call.file = entry.file;
        call.offset = entry.offset;
        call.data = bytes.mid(at, int(entry.length));
        at += int(entry.length);
        const QList<QByteArray> paths = bytes.mid(at, int(entry.pathLength)).split('\0');
        at += int(entry.pathLength);
        call.path = QFile::decodeName(paths.value(0));
        call.otherPath = QFile::decodeName(paths.value(1));
        calls.append(call);
    }
    return calls;
}

LostPower::LostPower(const QString &root) : m_root(root), m_inodes(1)
{
    // The folder around it is watched too: the root's own name has to be synced.
    const QFileInfo info(root);
    m_folders[info.absolutePath()];
    if (info.isDir()) {
        m_folders[info.absolutePath()].names.insert(info.fileName(), 0);
        takeFolder(root);
    }
    m_current[info.absolutePath()] = m_folders[info.absolutePath()].names;
}

void LostPower::takeFolder(const QString &path)
{
    Folder folder;
    const QFileInfoList entries = QDir(path).entryInfoList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden);
    for (const QFileInfo &entry : entries) {
        if (entry.isDir()) {
            folder.names.insert(entry.fileName(), 0);
            takeFolder(entry.absoluteFilePath());
            continue;
        }
        QFile file(entry.absoluteFilePath());
        if (!file.open(QIODevice::ReadOnly))
            continue;
        folder.names.insert(entry.fileName(), m_inodes.size());
        m_inodes.append(Inode{file.readAll(), {}});
    }
    m_current[path] = folder.names;
    m_folders[path] = folder;
}

int LostPower::inodeAt(const QString &path) const
{
    return m_current.value(QFileInfo(path).path()).value(QFileInfo(path).fileName());
}

void LostPower::changeName(const QString &path, NameChange change)
{
    const QString folder = QFileInfo(path).path();
    change.moment = m_moment;
    change.name = QFileInfo(path).fileName();
    m_folders[folder].changes.append(change);
    applyName(m_current[folder], change);
}

void LostPower::applyName(QMap<QString, int> &names, const NameChange &change)
{
    if (change.kind != NameChange::Set)
        names.remove(change.name);
    if (change.kind != NameChange::Remove)
        names.insert(change.kind == NameChange::Rename ? change.to : change.name, change.inode);
}

void LostPower::open(const TracedCall &call)
{
    const QString folder = QFileInfo(call.path).path();
    if (m_folders.contains(call.path)) {
        m_openFolders.insert(call.file, call.path);
        return;
    }
    int inode = m_current.value(folder).value(QFileInfo(call.path).fileName());
    if (inode == 0) {
        inode = m_inodes.size();
        m_inodes.append(Inode());
        NameChange change;
        change.inode = inode;
        changeName(call.path, change);
    }
    m_open.insert(call.file, inode);
    if ((call.offset & quint64(O_TRUNC)) != 0)
        m_inodes[inode].changes.append({m_moment, true, 0, {}});
}

void LostPower::apply(const TracedCall &call)
{
    ++m_moment;
    Inode &inode = m_inodes[m_open.value(call.file)];
    switch (call.op) {
    case Op::Open:
        open(call);
        break;
    case Op::Write:
        inode.changes.append({m_moment, false, call.offset, call.data});
        break;
    case Op::Truncate:
        inode.changes.append({m_moment, true, call.offset, {}});
        break;
    case Op::Sync:
        if (m_openFolders.contains(call.file)) {
            Folder &folder = m_folders[m_openFolders.value(call.file)];
            folder.names = m_current.value(m_openFolders.value(call.file));
            folder.changes.clear();
        } else {
            for (const Change &change : qAsConst(inode.changes))
                applyChange(inode.content, change);
            inode.changes.clear();
        }
        break;
    case Op::Rename: {
        NameChange change;
        change.kind = NameChange::Rename;
        change.inode = inodeAt(call.path);
        change.to = QFileInfo(call.otherPath).fileName();
        changeName(call.path, change);
        break;
    }
    case Op::Unlink: {
        NameChange change;
        change.kind = NameChange::Remove;
        changeName(call.path, change);
        break;
    }
    case Op::MakeFolder:
        changeName(call.path, {});
        m_folders[call.path];
        m_current[call.path];
        break;
    case Op::Clear:
        ++m_clears;
        break;
    }
}

void LostPower::applyChange(QByteArray &content, const Change &change)
{
    const int end = int(change.offset) + change.data.size();
    if (change.isTruncation)
        content.resize(int(change.offset));
    const int before = content.size();
    if (end > before) {
        content.resize(end);
        std::memset(content.data() + before, 0, std::size_t(end - before));
    }
    content.replace(int(change.offset), change.data.size(), change.data);
}

QByteArray LostPower::contentOf(const Inode &inode, Fate fate, quint64 until, Chance &chance) const
{
    QByteArray content = inode.content;
    for (Change change : inode.changes) {
        if (fate == Fate::NothingKept || (fate == Fate::Ordered && change.moment > until))
            break;
        const int treatment = fate == Fate::Mixed ? chance.below(4) : 1;
        if (treatment == 0)
            continue;
        if (treatment == 2)
            change.data.truncate(chance.below(change.data.size() + 1));
        if (treatment == 3) {
            for (int i = chance.below(change.data.size() + 1); i < change.data.size(); ++i)
                change.data[i] = char(chance.next());
        }
        applyChange(content, change);
    }
    return content;
}

bool LostPower::writeFolder(const QString &path, const QString &target, Fate fate, quint64 until, Chance &chance) const
{
    const Folder folder = m_folders.value(path);
    QMap<QString, int> names = folder.names;
    for (const NameChange &change : folder.changes) {
        if (fate == Fate::NothingKept || (fate == Fate::Ordered && change.moment > until))
            break;
        if (fate != Fate::Mixed || chance.oneIn(2))
            applyName(names, change);
    }
    const bool outside = path != m_root && !path.startsWith(m_root + QLatin1Char('/'));
    if (!outside && !QDir().mkdir(target))
        return false;
    for (auto entry = names.cbegin(); entry != names.cend(); ++entry) {
        const QString from = path + QLatin1Char('/') + entry.key();
        const QString to = outside ? target : target + QLatin1Char('/') + entry.key();
        // A lock names the boot it is of, so after a power loss it is free; here nothing boots.
        if ((outside && from != m_root) || entry.key() == QLatin1String("norvex.lock"))
            continue;
        if (entry.value() == 0) {
            if (!writeFolder(from, to, fate, until, chance))
                return false;
            continue;
        }
        QFile file(to);
        if (!file.open(QIODevice::WriteOnly | QIODevice::Unbuffered))
            return false;
        file.write(contentOf(m_inodes.at(entry.value()), fate, until, chance));
    }
    return true;
}

bool LostPower::writeTo(const QString &target, Fate fate, Chance &chance) const
{
    quint64 oldest = m_moment;
    for (const Inode &inode : m_inodes) {
        if (!inode.changes.isEmpty())
            oldest = qMin(oldest, inode.changes.constFirst().moment);
    }
    for (const Folder &folder : m_folders) {
        if (!folder.changes.isEmpty())
            oldest = qMin(oldest, folder.changes.constFirst().moment);
    }
    const quint64 until = oldest + quint64(chance.below(qint64(m_moment - oldest) + 1));
    return writeFolder(QFileInfo(m_root).absolutePath(), target, fate, until, chance);
}
