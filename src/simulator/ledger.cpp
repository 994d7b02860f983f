#include "simulator/ledger.h"

#include "base/crc32c.h"

#include <QList>
#include <QtEndian>

#include <cstring>

namespace {

constexpr int pendingLimit = 1 << 16;
constexpr int lineLimit = 4096;
const char header[] = "# norvex sensor ledger 1 ";

quint32 addDouble(double value, quint32 checksum)
{
    // Both zeros are one number.
    const double number = value + 0.0;
    quint64 bits;
    std::memcpy(&bits, &number, sizeof bits);
    bits = qToLittleEndian(bits);
    return crc32c(&bits, sizeof bits, checksum);
}

quint32 addFloats(const QVector<float> &values, quint32 checksum)
{
    for (float value : values) {
        const float number = value + 0.0F;
        quint32 bits;
        std::memcpy(&bits, &number, sizeof bits);
        bits = qToLittleEndian(bits);
        checksum = crc32c(&bits, sizeof bits, checksum);
    }
    return checksum;
}

/// Takes the lines of a ledger file one after the other.
class LedgerReader
{
public:
    explicit LedgerReader(LedgerSnapshot &ledger) : m_ledger(ledger) {}

    bool take(const QByteArray &line)
    {
        const QList<QByteArray> fields = line.split(' ');
        if (line.startsWith(header)) {
            // The numbers of the next simulator begin at 0 again.
            m_firstSample = m_ledger.samples.size();
            m_firstEvent = m_ledger.events.size();
            return true;
        }
        const QByteArray &kind = fields[0];
        if (kind == "S" && fields.size() == 5)
            return append(m_ledger.samples, m_firstSample, fields, -1);
        if (kind == "E" && fields.size() == 6)
            return append(m_ledger.events, m_firstEvent, fields, fields[4].toShort());
        if (kind.size() == 2 && fields.size() == 3)
            return mark(kind, fields[1].toLongLong(), fields[2].toLongLong());
        if (kind == "R" && fields.size() == 3)
            m_ledger.restartsMs.append(fields[2].toLongLong());
        return kind == "R";
    }

private:
    static bool append(QVector<LedgerEntry> &entries, qint64 first, const QList<QByteArray> &fields, qint16 typeCode)
    {
        bool ok = fields[1].toLongLong() + first == entries.size();
        LedgerEntry entry;
        entry.boot = fields[2].toUInt();
        entry.time = fields[3].toLongLong();
        entry.typeCode = typeCode;
        entry.checksum = fields.last().toUInt(ok ? &ok : nullptr, 16);
        entries.append(entry);
        return ok;
    }

    bool mark(const QByteArray &kind, qint64 first, qint64 count)
    {
        const bool isSample = kind[1] == 'S';
        QVector<LedgerEntry> &entries = isSample ? m_ledger.samples : m_ledger.events;
        const qint64 begin = first + (isSample ? m_firstSample : m_firstEvent);
        if (first < 0 || count < 0 || begin > entries.size() || count > entries.size() - begin)
            return false;
        bool LedgerEntry::*const fate = kind[0] == 'H'   ? &LedgerEntry::handedOut
                                        : kind[0] == 'C' ? &LedgerEntry::cleared
                                                         : &LedgerEntry::lost;
        for (qint64 i = begin; i < begin + count; ++i)
            entries[int(i)].*fate = true;
        return true;
    }

    LedgerSnapshot &m_ledger;
    qint64 m_firstSample = 0;
    qint64 m_firstEvent = 0;
};

} // namespace

bool readLedger(const QString &path, LedgerSnapshot &ledger, QString *error)
{
    ledger = {};
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        *error = file.errorString();
        return false;
    }
    LedgerReader reader(ledger);
    for (qint64 number = 1; !file.atEnd(); ++number) {
        QByteArray line = file.readLine(lineLimit);
        if (!line.endsWith('\n') && line.size() < lineLimit - 1)
            return true;
        line.chop(1);
        if ((number == 1 && !line.startsWith(header)) || !reader.take(line)) {
            *error = QStringLiteral("line %1 is not of a ledger").arg(number);
            return false;
        }
    }
    return true;
}

quint32 sampleChecksum(const SamplePoint &s)
{
    const double values[] = {s.voltage,         s.currentReal,         s.currentImaginary,    double(s.numberOfPulses),
                             s.pulsePeriod,     double(s.slot1OnTime), double(s.slot2OnTime), s.slot1VoltageAvg,
                             s.slot1VoltageMax, s.slot1VoltageMin,     s.slot1CurrentAvg,     s.slot1CurrentMax,
                             s.slot1CurrentMin, s.slot2VoltageAvg,     s.slot2VoltageMax,     s.slot2VoltageMin,
                             s.slot2CurrentAvg, s.slot2CurrentMax,     s.slot2CurrentMin};
    quint32 checksum = 0;
    for (double value : values)
        checksum = addDouble(value, checksum);
    for (qint32 count : s.eventCounts)
        checksum = addDouble(count, checksum);
    return checksum;
}

quint32 waveformChecksum(const QVector<float> &voltage, const QVector<float> &real, const QVector<float> &imaginary)
{
    return addFloats(imaginary, addFloats(real, addFloats(voltage, 0)));
}

quint32 waveformChecksum(const RawWaveform &waveform)
{
    QVector<float> channels[3];
    for (int i = 0; i < 3 * waveform.points(); ++i) {
        const float scale = i % 3 == 0 ? waveform.voltageScale : waveform.currentScale;
        channels[i % 3].append(float(waveform.raw[i]) * scale);
    }
    return waveformChecksum(channels[0], channels[1], channels[2]);
}

bool Ledger::open(const QString &path, const QString &serial, QString *error)
{
    m_file.setFileName(path);
    if (!m_file.open(QIODevice::WriteOnly | QIODevice::Append)) {
        if (error)
            *error = QStringLiteral("cannot write the ledger %1: %2").arg(path, m_file.errorString());
        return false;
    }
    line(header + serial.toUtf8());
    flush();
    return true;
}

void Ledger::sampleGenerated(quint32 boot, const SamplePoint &sample)
{
    LedgerEntry entry;
    entry.boot = boot;
    entry.time = qint64(sample.time / 1000);
    entry.checksum = sampleChecksum(sample);
    if (m_file.isOpen())
        line("S " + QByteArray::number(m_sampleCount) + ' ' + QByteArray::number(boot) + ' ' +
             QByteArray::number(entry.time) + ' ' + QByteArray::number(entry.checksum, 16));
    ++m_sampleCount;
    if (m_keptInMemory)
        m_entries.samples.append(entry);
}

void Ledger::eventGenerated(quint32 boot, qint64 timeUs, qint16 typeCode, const RawWaveform &waveform)
{
    LedgerEntry entry;
    entry.boot = boot;
    entry.time = timeUs;
    entry.typeCode = typeCode;
    entry.checksum = waveformChecksum(waveform);
    if (m_file.isOpen())
        line("E " + QByteArray::number(m_eventCount) + ' ' + QByteArray::number(boot) + ' ' +
             QByteArray::number(timeUs) + ' ' + QByteArray::number(typeCode) + ' ' +
             QByteArray::number(entry.checksum, 16));
    ++m_eventCount;
    if (m_keptInMemory)
        m_entries.events.append(entry);
}

void Ledger::handedOut(Kind kind, qint64 first, qint64 count)
{
    mark(kind, first, count, 'H', &LedgerEntry::handedOut);
}

void Ledger::cleared(Kind kind, qint64 first, qint64 count)
{
    mark(kind, first, count, 'C', &LedgerEntry::cleared);
}

void Ledger::lost(Kind kind, qint64 first, qint64 count)
{
    mark(kind, first, count, 'L', &LedgerEntry::lost);
}

void Ledger::restarted(bool dataKept, qint64 utcMs)
{
    m_entries.restartsMs.append(utcMs);
    line((dataKept ? "R kept " : "R lost ") + QByteArray::number(utcMs));
}

void Ledger::mark(Kind kind, qint64 first, qint64 count, char letter, bool LedgerEntry::*fate)
{
    if (count <= 0)
        return;
    if (m_file.isOpen())
        line(QByteArray(1, letter) + (kind == Kind::Sample ? "S " : "E ") + QByteArray::number(first) + ' ' +
             QByteArray::number(count));
    QVector<LedgerEntry> &entries = kind == Kind::Sample ? m_entries.samples : m_entries.events;
    for (qint64 i = first; i < first + count && i < entries.size(); ++i)
        entries[int(i)].*fate = true;
}

void Ledger::line(const QByteArray &text)
{
    if (!m_file.isOpen())
        return;
    m_pending.append(text).append('\n');
    if (m_pending.size() > pendingLimit)
        flush();
}

void Ledger::flush()
{
    if (m_pending.isEmpty())
        return;
    m_file.write(m_pending);
    m_file.flush();
    m_pending.clear();
}
