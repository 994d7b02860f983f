#pragma once

#include "session/session.h"
#include "simulator/ledger.h"

#include <QStringList>

/// What the sensor says of a recording: its ledger, written by another process, against what a session holds. Every
/// sample and event that was cleared must be there, nothing twice, and nothing that the sensor never had.
struct Verdict
{
    int samples = 0; // stored
    int cleared = 0; // of them, or missing
    int lost = 0;
    int doubled = 0; // or changed, or never measured
    QString text;    // empty when all is well

    bool ok() const { return text.isEmpty(); }
};

/// Compares the store of the only sensor, or of the one with `serial`. Only what `ledger` marks as cleared has to be
/// there. Without times the values alone identify a sample: for sensors that restarted or were not understood for a
/// while, so that their samples were not all placed by the same base.
/// Placed: nor are they compared one by one, but what was measured after a restart lies where it was measured, as far
/// as one who asks over a network can know. SampleTimes: by their times alone, for samples of which single values were
/// changed on the way; no events.
enum class Compared { All, Placed, WithoutTimes, SamplesWithoutTimes, SampleTimes };
Verdict compare(const Session &session, const LedgerSnapshot &ledger, const QString &serial = {},
                Compared compared = Compared::All);

/// Reads the ledger and the session folder, and compares.
Verdict judge(const QString &sessionFolder, const QString &ledgerPath, const QString &serial = {});

/// What a ledger had marked as cleared after each of its clears, in their order.
class ClearHistory
{
public:
    bool read(const QString &ledgerPath, QString *error);
    int clears() const { return m_samples.size(); }
    /// Counts from the one after these.
    void forgetFirst(int clears) { m_first = clears; }
    /// The ledger as it was after `clears` of them.
    LedgerSnapshot after(int clears) const;

private:
    LedgerSnapshot m_ledger;
    int m_first = 0;
    QVector<int> m_samples; // cleared after each
    QVector<int> m_events;
};

/// Follows a ledger that grows.
class LedgerWatch
{
public:
    explicit LedgerWatch(const QString &path) : m_file(path) {}
    void update();
    qint64 generated() const { return m_generated; }
    qint64 clearedSamples() const { return m_clearedSamples; }
    qint64 clearedEvents() const { return m_clearedEvents; }
    /// Samples that were handed out at least once.
    qint64 handedOut() const { return m_handedOut; }
    /// Times that samples were handed out, the same ones or others.
    qint64 pages() const { return m_pages; }
    /// Times that samples or an event were handed out.
    qint64 handings() const { return m_handings; }

private:
    QFile m_file;
    QByteArray m_rest;
    qint64 m_generated = 0;
    qint64 m_clearedSamples = 0;
    qint64 m_clearedEvents = 0;
    qint64 m_handedOut = 0;
    qint64 m_pages = 0;
    qint64 m_handings = 0;
};
