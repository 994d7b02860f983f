#pragma once

#include "data/norvexdata.h"

#include <QByteArray>
#include <QSet>
#include <QString>

#include <memory>
#include <optional>
#include <vector>

/// What one save remembers for the next one, so that only what changed is composed and written. Guarded by the store's
/// save lock.
struct SaveState
{
    struct BlockLine
    {
        std::shared_ptr<dataBlock> block;
        QByteArray text;
    };

    QString folderPath; // of the sensor folder that all of this belongs to
    std::vector<BlockLine> blockLines;
    QByteArray eventLines; // of the first eventLineCount events, none left out
    int eventLineCount = 0;
    qint32 lastEventNumber = 0;
    bool indexBroken = false;                         // the last write of the index failed: the backup is the good one
    std::optional<SensorConfiguration> configuration; // as it is in its file
};

/// One save of a store into its sensor folder. Runs on the saving thread under the store's save lock; takes the data
/// lock only to copy, never while a file is written.
///
/// What a crash leaves behind, step by step:
///
/// | after                    | on disk                                     | the next load                       |
/// |--------------------------|---------------------------------------------|-------------------------------------|
/// | backup copied            | old index, its copy under a temporary name  | removes the copy                    |
/// | backup renamed           | old index and backup                        | puts the backup back: the same      |
/// | some blocks and events   | old index and backup, newer or unknown files| the same, then adopts the new files |
/// | index partly written     | torn index, backup                          | puts the backup back, adopts files  |
/// | index written            | new index, old backup                       | puts the backup back, adopts files  |
/// | backup removed           | new index                                   | loads it                            |
class StoreSaver
{
public:
    StoreSaver(norvexData &store, SaveState &state, const QString &sessionFolder);

    /// False when anything could not be written; that part stays unsaved in the store.
    bool save(const norvexData::Captured &captured = {});

private:
    void capture();
    bool startFolder();
    bool makeBackup();
    void removeBackup(const QVector<QByteArray> &index);
    bool writeConfiguration();
    void saveBlocks();
    bool saveBlock(dataBlock &block, int position);
    QString nameFor(const dataBlock &block, int position);
    QByteArray lineOf(const dataBlock &block) const;
    void saveEvents();
    bool copyEvents();
    int composeEventLines(QByteArray &others);
    bool writeIndex(bool configurationWritten);

    norvexData &m_store;
    SaveState &m_state;
    QString m_folderPath;
    QString m_indexPath;
    QByteArray m_folderField; // the sensor folder's name as it stands in the lines
    bool m_hasBackup = false;
    bool m_filesOk = true;
    QSet<QString> m_blockNames; // of all blocks, filled when a new name is needed

    // Copied from the store at the start.
    quint64 m_changes = 0;
    QString m_oldFolderPath;
    QString m_sensorSerial;
    QString m_chamberSerial;
    SensorConfiguration m_configuration;
    Recipe m_recipe;
    norvexData::Blocks m_blocks;
    QVector<EventList::Unsaved> m_unsavedEvents;
    qint32 m_highestEventNumber = 0;
    int m_eventCount = 0;
};
