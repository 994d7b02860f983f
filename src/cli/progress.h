#pragma once

#include <QString>
#include <QStringList>
#include <QTextStream>

#include <deque>
#include <utility>

/// One sensor as the progress line of a recording shows it.
struct SensorProgress
{
    QString name;  // serial, or address before the sensor has said it
    QString state; // "downloading", "no answer, next try in 8 s", ...
    quint64 samples = 0;
    int events = 0;
    int runs = 0;
    double samplesPerSecond = 0;
    qint64 saveAgeMs = -1; // since the last complete save; -1 before the first
};

/// One line, cut with "..." to `width` columns when width > 0.
QString progressLine(const SensorProgress &progress, int width);

/// Samples per second over the last few seconds of a rising count.
class RateMeter
{
public:
    void add(qint64 steadyMs, quint64 count);
    double perSecond() const;

private:
    static constexpr qint64 windowMs = 5000;
    std::deque<std::pair<qint64, quint64>> m_points; // time, count
};

/// Shows the progress of a recording: on a terminal a block of lines redrawn in place, elsewhere plain lines.
class ProgressPrinter
{
public:
    ProgressPrinter(QTextStream &out, bool inPlace) : m_out(out), m_inPlace(inPlace) {}

    bool isInPlace() const { return m_inPlace; }
    void show(const QStringList &lines);
    /// A line that stays, above the block.
    void say(const QString &line);

private:
    void eraseBlock();

    QTextStream &m_out;
    const bool m_inPlace;
    QStringList m_block;
};
