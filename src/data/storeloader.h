#pragma once

#include "data/folderscan.h"
#include "data/norvexdata.h"

#include <QDateTime>
#include <QString>

struct IndexBlock;
struct IndexContent;

/// One load of a store from its sensor folder: reads the index, or the backup that an interrupted save left, and
/// remembers its blocks without opening their files. The store is not shared yet.
///
/// load() only reads. What it finds to be missing or damaged it does without; what is there and cannot be read it
/// names, since nobody knows then what was stored. mend() is for those who go on with the folder.
class StoreLoader
{
public:
    StoreLoader(norvexData &store, const QString &sessionFolder);

    LoadOutcome load(QString *unreadable);
    bool mend();

private:
    LoadOutcome loadIndex();
    LoadOutcome rebuild();
    void reconcile();
    bool readPart(const QString &path, QByteArray &bytes, qint64 maximumSize, QString *reason);
    void cannotRead(const QString &path, const QString &reason);
    void removeLeftovers();
    bool restoreBackup();
    void fill(IndexContent &content);
    void fillConfiguration(const IndexContent &content);
    void fillBlocks(const IndexContent &content);
    QString folderOfBlock(const IndexBlock &line, qint64 *size) const;
    qint64 elapsedMs() const;

    norvexData &m_store;
    const QString m_sessionFolder;
    const QString m_folderPath;
    const QString m_indexPath;
    const qint64 m_startMs;
    QString m_unreadable;
};

/// Completes a loaded store with the block and event files of its folder that its index does not know or that were
/// written after it: what an interrupted save left. Samples and events that are stored already are recognised by their
/// times, so nothing is doubled and running it again changes nothing. The store is not shared yet.
class StoreReconciler
{
public:
    explicit StoreReconciler(norvexData &store) : m_store(store) {}

    ReconcileReport run();

private:
    void refreshNewerBlocks();
    QDateTime indexWritten();
    bool cannotRead(const QString &path, const QString &reason);
    void noteDamage(const folderscan::BlockFile &found, const QString &path);
    void adoptBlock(const QString &name);
    void adoptEvent(const QString &name);
    void sortBlocks();

    norvexData &m_store;
    QString m_folderPath;
    ReconcileReport m_report;
};
