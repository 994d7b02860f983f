#pragma once

#include "data/samplepoint.h"
#include "simulator/arcwaveform.h"

#include <QByteArray>
#include <QFile>
#include <QString>
#include <QVector>

/// What a simulated sensor generated, handed out, cleared and lost. Tests compare it with what a recorder has on disk.
///
/// Samples and events are numbered from 0 over the whole life of the simulator. Times start again at every boot of the
/// sensor, so `boot` and `time` together identify a sample.
struct LedgerEntry
{
    quint32 boot = 0;
    quint32 checksum = 0; // sampleChecksum or waveformChecksum
    qint64 time = 0;      // samples: ms, events: us; on the sensor's clock
    qint16 typeCode = -1; // of an event
    bool handedOut = false;
    bool cleared = false; // dropped because a reader said so
    bool lost = false;    // dropped without being cleared

    friend bool operator==(const LedgerEntry &a, const LedgerEntry &b)
    {
        return a.boot == b.boot && a.checksum == b.checksum && a.time == b.time && a.typeCode == b.typeCode &&
               a.handedOut == b.handedOut && a.cleared == b.cleared && a.lost == b.lost;
    }
};

struct LedgerSnapshot
{
    QVector<LedgerEntry> samples;
    QVector<LedgerEntry> events;
    QVector<qint64> restartsMs; // since the epoch, of every boot but the first
};

/// The checksum of a sample's values, without its time and frequency. The same from the simulator's own sample and from
/// one that was read back from disk.
quint32 sampleChecksum(const SamplePoint &sample);

/// The checksum of a waveform of single precision values, the three channels one after the other.
quint32 waveformChecksum(const QVector<float> &voltage, const QVector<float> &real, const QVector<float> &imaginary);
quint32 waveformChecksum(const RawWaveform &waveform);

/// Reads a ledger file, for a process that compares it with what is on disk. A ledger that several simulators appended
/// to one after the other reads as one; a last line that is still being written is left out. False and a reason when
/// the file cannot be read or is no ledger.
bool readLedger(const QString &path, LedgerSnapshot &ledger, QString *error);

/// Keeps the entries in memory and, when a file is open, appends one line for each fact:
///
///     # norvex sensor ledger 1 SERIAL
///     S number boot time_ms checksum         a sample was generated (checksum in hexadecimal)
///     E number boot time_us type checksum    an event was generated
///     HS first count / HE first count        samples / events were handed out
///     CS first count / CE first count        were cleared by the reader
///     LS first count / LE first count        were lost: memory full or restart
///     R kept|lost utc_ms                     the sensor restarted: its times begin here
///
/// Not thread-safe; its owner locks.
class Ledger
{
public:
    enum class Kind { Sample, Event };

    /// Appends to `path` from now on. False and a reason when it cannot be opened.
    bool open(const QString &path, const QString &serial, QString *error);
    /// Without this only the file is written; for very long simulations.
    void setKeptInMemory(bool kept) { m_keptInMemory = kept; }

    void sampleGenerated(quint32 boot, const SamplePoint &sample);
    void eventGenerated(quint32 boot, qint64 timeUs, qint16 typeCode, const RawWaveform &waveform);
    void handedOut(Kind kind, qint64 first, qint64 count);
    void cleared(Kind kind, qint64 first, qint64 count);
    void lost(Kind kind, qint64 first, qint64 count);
    void restarted(bool dataKept, qint64 utcMs);
    /// Brings what was written so far to the file, where another process can read it.
    void flush();

    const LedgerSnapshot &entries() const { return m_entries; }

private:
    void mark(Kind kind, qint64 first, qint64 count, char letter, bool LedgerEntry::*fate);
    void line(const QByteArray &text);

    LedgerSnapshot m_entries;
    qint64 m_sampleCount = 0;
    qint64 m_eventCount = 0;
    bool m_keptInMemory = true;
    QFile m_file;
    QByteArray m_pending;
};
