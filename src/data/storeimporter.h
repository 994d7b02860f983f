#pragma once

#include "data/blockpieces.h"
#include "data/filenumbers.h"
#include "data/norvexdata.h"

#include <QString>

#include <memory>

/// Adds samples and events that come from elsewhere than the sensor, as from another session or a text file, to a store
/// that may be recorded into at the same time. They pass neither the run detector nor the journal: each piece is a file
/// in the sensor folder, under a free number, before the store knows of it, so that a program that ends in between
/// finds it again. What the store has already is left out. One thread; the store must outlive it.
class StoreImporter
{
public:
    StoreImporter(norvexData &store, const QString &sessionFolder);

    /// In any order. False after the first failure, and from then on; reason() says why.
    bool takeSamples(const SamplePoint *samples, int count);
    bool takeEvent(const EventRecord &event);
    /// Writes what was taken, so that what follows does not come into one block with it.
    bool flush();
    /// Writes what is left, then saves the store.
    bool finish();

    quint64 addedSamples() const { return m_addedSamples; }
    quint64 knownSamples() const { return m_knownSamples; }
    int addedEvents() const { return m_addedEvents; }
    int knownEvents() const { return m_knownEvents; }
    QString reason() const { return m_reason; }
    /// The failure was that the store's own files cannot be read; else they cannot be written.
    bool cannotRead() const { return m_cannotRead; }

private:
    bool begin();
    bool dropKnown(QVector<SamplePoint> &samples);
    void adopt(const BlockPiece &piece);
    bool fail(const QString &reason);

    norvexData &m_store;
    const QString m_sessionFolder;
    const QString m_folderPath;
    std::unique_ptr<FileNumbers> m_numbers; // once there is a folder
    QVector<SamplePoint> m_waiting;
    QString m_reason;
    bool m_cannotRead = false;
    quint64 m_addedSamples = 0;
    quint64 m_knownSamples = 0;
    int m_addedEvents = 0;
    int m_knownEvents = 0;
};
