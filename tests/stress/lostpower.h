#pragma once

#include "filecalls.h"
#include "options.h"

#include <QByteArray>
#include <QHash>
#include <QMap>
#include <QString>
#include <QVector>

/// One file call of a recorder, from a trace.
struct TracedCall
{
    filecalls::Op op = filecalls::Op::Open;
    quint32 file = 0;
    quint64 offset = 0; // of a write, new size of a truncation, flags of an open
    QByteArray data;
    QString path;
    QString otherPath; // of a rename
};

QVector<TracedCall> readTrace(const QString &path);

/// A disk that remembers what was written and what of it was synced. After any number of calls it can say what a
/// computer that loses power then may find: of each file and each folder the synced state, and any part of what came
/// later.
///
/// A file's own sync does not sync its name; that takes a sync of its folder. A rename is whole or not there.
class LostPower
{
public:
    /// The folder the calls are about; what it holds now counts as synced.
    explicit LostPower(const QString &root);

    void apply(const TracedCall &call);
    int clears() const { return m_clears; }

    /// How the changes that were not synced are treated.
    enum class Fate {
        NothingKept,
        AllKept,
        Ordered, // up to some moment all, nothing later
        Mixed,   // each change kept, dropped, cut short or (a write) filled with garbage; names in any order
    };
    /// Writes one possible state of the disk into the folder `target`, which must not exist.
    bool writeTo(const QString &target, Fate fate, Chance &chance) const;

private:
    struct Change
    {
        quint64 moment = 0;
        bool isTruncation = false;
        quint64 offset = 0; // or the new size
        QByteArray data;
    };
    struct Inode
    {
        QByteArray content; // synced
        QVector<Change> changes;
    };
    struct NameChange
    {
        quint64 moment = 0;
        enum Kind { Set, Remove, Rename } kind = Set;
        QString name;
        QString to;    // of a rename
        int inode = 0; // 0: a folder
    };
    struct Folder
    {
        QMap<QString, int> names; // synced
        QVector<NameChange> changes;
    };

    void takeFolder(const QString &path);
    void open(const TracedCall &call);
    int inodeAt(const QString &path) const;
    void changeName(const QString &path, NameChange change);
    static void applyName(QMap<QString, int> &names, const NameChange &change);
    static void applyChange(QByteArray &content, const Change &change);
    QByteArray contentOf(const Inode &inode, Fate fate, quint64 until, Chance &chance) const;
    bool writeFolder(const QString &path, const QString &target, Fate fate, quint64 until, Chance &chance) const;

    const QString m_root;
    QVector<Inode> m_inodes;
    QMap<QString, Folder> m_folders;             // by path
    QMap<QString, QMap<QString, int>> m_current; // names as the program sees them
    QHash<quint32, int> m_open;                  // inode of each open file
    QHash<quint32, QString> m_openFolders;
    quint64 m_moment = 0;
    int m_clears = 0;
};
