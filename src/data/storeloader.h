#pragma once

#include "data/norvexdata.h"

#include <QString>

struct IndexContent;

/// One load of a store from its sensor folder: undoes an interrupted save, reads the index and remembers its blocks
/// without opening their files. The store is not shared yet.
class StoreLoader
{
public:
    StoreLoader(norvexData &store, const QString &sessionFolder, LoadMode mode);

    LoadOutcome load();

private:
    void removeLeftovers();
    bool restoreBackup();
    LoadOutcome rebuild(bool restored);
    void fill(const IndexContent &content);
    void fillConfiguration(const IndexContent &content);
    void fillBlocks(const IndexContent &content);
    QString folderOfBlock(const QString &recordedFolder, const QString &file) const;
    qint64 elapsedMs() const;

    norvexData &m_store;
    const QString m_sessionFolder;
    const LoadMode m_mode;
    const QString m_folderPath;
    const QString m_indexPath;
    const qint64 m_startMs;
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
    void adoptBlock(const QString &name);
    void adoptEvent(const QString &name);
    void sortBlocks();

    norvexData &m_store;
    QString m_folderPath;
    ReconcileReport m_report;
};
