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

/// By what samples and events are known again. Times do not do for sensors that restarted or were not understood for a
/// while, so that not all was placed by the same base; values do not where single ones were changed on the way.
struct Compared
{
    bool times = true;
    bool sampleValues = true;
    bool eventValues = true;
    bool placed = false; // what was measured after a restart lies where it was, as far as one can know over a network

    /// Numbers of what was handed out while a fault changed both unseen: it may be missing, and as much may be there
    /// that was never measured.
    struct Range
    {
        int first = 0;
        int end = 0;
        bool contains(int number) const { return number >= first && number < end; }
    };
    Range doubtfulSamples;
    Range doubtfulEvents;
};

/// Compares the store of the only sensor, or of the one with `serial`. Only what `ledger` marks as cleared has to be
/// there.
Verdict compare(const Session &session, const LedgerSnapshot &ledger, const QString &serial = {},
                const Compared &compared = {});

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
    qint64 handedOutEvents() const { return m_handedOutEvents; }
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
    qint64 m_handedOutEvents = 0;
    qint64 m_pages = 0;
    qint64 m_handings = 0;
};
