#pragma once

#include "data/eventrecord.h"

#include <QByteArray>
#include <QChar>
#include <QDateTime>
#include <QString>
#include <QStringList>

#include <array>

/// The lines of the three exported files, as pure functions that append UTF-8 to a buffer. Numbers are written as a
/// text stream writes them by default, names of days and months are English everywhere.
namespace csv {

/// Writes time stamps: "Mon-05-Feb-2024 13:45:10.123" and the microseconds past the millisecond, without padding.
/// Remembers the text of the last second, because neighbouring lines share it; one for each file that is written.
class TimeCell
{
public:
    /// Into a buffer of at least `largest` bytes; returns the end.
    char *write(char *out, quint64 time);
    void append(QByteArray &out, quint64 time);

    static constexpr int largest = 48;

private:
    void setSecond(quint64 second);

    quint64 m_day = ~0ULL;
    quint64 m_second = ~0ULL;
    int m_daySize = 0;
    int m_size = 0;
    std::array<char, 32> m_text{}; // up to the point behind the seconds
};

/// The counters and names in the first lines of each file.
struct Header
{
    QString chamber;
    QString sensor;
    QString session;
    QDateTime exportDate; // local
    quint64 from = 0;     // us
    quint64 to = 0;
    quint32 runs = 0;
    quint32 points = 0;
    quint32 events = 0;
};

/// The bytes between two cells.
QByteArray delimiterBytes(QChar delimiter);
/// A text that stays in its cell: the delimiter, CR, LF and NUL become "_".
QByteArray cellText(const QString &text, QChar delimiter);

void appendHeader(QByteArray &out, const Header &header, const QString &exportedData, QChar delimiter);

/// Current as exported: its magnitude, in single precision throughout.
float exportedCurrent(const SamplePoint &sample);

void appendViColumns(QByteArray &out, const QByteArray &delimiter);
/// One line, with the delimiter behind its last cell too, which the column line does not have.
void appendViLine(QByteArray &out, const SamplePoint &sample, TimeCell &time, const QByteArray &delimiter);

/// The cells of one waveform sample of an event; an event's first row also names it.
struct EventRow
{
    QByteArray type; // cell text; empty beyond the first row
    int ordinal = 0; // within its type, from 1
    quint64 eventTime = 0;
    bool isFirst = false;
};
void appendEventSummary(QByteArray &out, const QVector<QByteArray> &types, const QVector<int> &counts,
                        const QByteArray &delimiter);
void appendEventColumns(QByteArray &out, int types, const QByteArray &delimiter);
void appendEventCells(QByteArray &out, const EventRow &row, const SamplePoint &sample, TimeCell &time,
                      const QByteArray &delimiter);
void appendEmptyEventCells(QByteArray &out, const QByteArray &delimiter);

void appendRunColumns(QByteArray &out, const QVector<QByteArray> &types, const QByteArray &delimiter);
/// `counts` holds the events of each type that overlap the run.
void appendRunLine(QByteArray &out, const RunRecord &run, const QVector<int> &counts, TimeCell &time,
                   const QByteArray &delimiter);

} // namespace csv
