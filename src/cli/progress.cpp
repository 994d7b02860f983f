#include "cli/progress.h"

#include <algorithm>

namespace {

QString saveText(qint64 ageMs)
{
    return ageMs < 0 ? QStringLiteral("not saved yet") : QStringLiteral("saved %1 s ago").arg(ageMs / 1000);
}

} // namespace

QString progressLine(const SensorProgress &progress, int width)
{
    const QStringList parts{
        progress.name,
        progress.state,
        QStringLiteral("%1 samples").arg(progress.samples),
        QStringLiteral("%1 events").arg(progress.events),
        QStringLiteral("%1 runs").arg(progress.runs),
        QStringLiteral("%1/s").arg(qRound64(progress.samplesPerSecond)),
        saveText(progress.saveAgeMs),
    };
    QString line = parts.join(QStringLiteral("  "));
    if (width > 3 && line.size() > width)
        line = line.left(width - 3) + QStringLiteral("...");
    return line;
}

void RateMeter::add(qint64 steadyMs, quint64 count)
{
    m_points.emplace_back(steadyMs, count);
    while (m_points.size() > 2 && steadyMs - m_points.front().first > windowMs)
        m_points.pop_front();
}

double RateMeter::perSecond() const
{
    if (m_points.size() < 2 || m_points.back().first <= m_points.front().first)
        return 0;
    const double counted = double(m_points.back().second) - double(m_points.front().second);
    return std::max(0.0, counted * 1000 / double(m_points.back().first - m_points.front().first));
}

void ProgressPrinter::eraseBlock()
{
    if (m_inPlace && !m_block.isEmpty())
        m_out << QStringLiteral("\x1b[%1A\x1b[J").arg(m_block.size());
}

void ProgressPrinter::show(const QStringList &lines)
{
    eraseBlock();
    m_block = lines;
    for (const QString &line : lines)
        m_out << line << '\n';
    m_out.flush();
}

void ProgressPrinter::say(const QString &line)
{
    eraseBlock();
    m_out << line << '\n';
    if (m_inPlace) {
        for (const QString &shown : qAsConst(m_block))
            m_out << shown << '\n';
    }
    m_out.flush();
}
