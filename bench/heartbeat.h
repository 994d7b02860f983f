#pragma once

#include <QElapsedTimer>
#include <QEventLoop>
#include <QString>
#include <QTextStream>
#include <QTimer>

#include <algorithm>
#include <vector>

/// A timer that should fire every few milliseconds, and how late it did.
class Heartbeat
{
public:
    Heartbeat()
    {
        m_timer.setTimerType(Qt::PreciseTimer);
        QObject::connect(&m_timer, &QTimer::timeout, [this] {
            m_gaps.push_back(double(m_clock.nsecsElapsed()) / 1e6);
            m_clock.start();
        });
        m_clock.start();
        m_timer.start(periodMs);
    }

    void reset()
    {
        m_gaps.clear();
        m_clock.start();
    }

    double longest() const { return m_gaps.empty() ? 0 : *std::max_element(m_gaps.begin(), m_gaps.end()); }

    void print(QTextStream &out, const QString &what)
    {
        std::sort(m_gaps.begin(), m_gaps.end());
        if (m_gaps.empty())
            return;
        const auto at = [this](double part) { return m_gaps[std::size_t(part * double(m_gaps.size() - 1))]; };
        const auto late = std::count_if(m_gaps.begin(), m_gaps.end(), [](double gap) { return gap > 50; });
        out << QStringLiteral(
                   "%1: longest pause of the event loop %2 ms, 99.9 % below %3 ms, median %4 ms, %5 of %6 over 50 ms\n")
                   .arg(what)
                   .arg(m_gaps.back(), 0, 'f', 1)
                   .arg(at(0.999), 0, 'f', 1)
                   .arg(at(0.5), 0, 'f', 1)
                   .arg(late)
                   .arg(m_gaps.size());
        out.flush();
    }

private:
    static constexpr int periodMs = 5;
    QTimer m_timer;
    QElapsedTimer m_clock;
    std::vector<double> m_gaps;
};

/// Runs the event loop for a while.
inline void settle(int milliseconds)
{
    QEventLoop loop;
    QTimer::singleShot(milliseconds, &loop, &QEventLoop::quit);
    loop.exec();
}
