#include "export/overviewreader.h"

#include <QMetaObject>
#include <QRunnable>
#include <QThreadPool>

#include <functional>

namespace {

constexpr int slices = 24;

class Job final : public QRunnable
{
public:
    std::shared_ptr<const abstractNorvexData> data;
    quint64 from = 0;
    quint64 to = 0;
    int columnCount = 0;
    std::shared_ptr<std::atomic<bool>> stop;
    std::function<void(const QVector<OverviewReader::Column> &)> report;

    void run() override
    {
        QVector<OverviewReader::Column> columns(columnCount);
        const quint64 step = qMax<quint64>(1, (to - from) / slices + 1);
        for (quint64 start = from; start < to && !*stop; start += step) {
            QVector<SamplePoint> samples;
            data->samplesInRange(start, qMin(to, start + step), samples);
            OverviewReader::reduce(samples, from, to, columns);
            if (!*stop)
                report(columns);
        }
    }
};

} // namespace

OverviewReader::OverviewReader(std::shared_ptr<const abstractNorvexData> data, quint64 from, quint64 to, int columns,
                               QObject *parent)
    : QObject(parent), m_data(std::move(data)), m_from(from), m_to(qMax(to, from + 1)), m_columns(qMax(1, columns)),
      m_stop(std::make_shared<std::atomic<bool>>(false))
{
}

OverviewReader::~OverviewReader()
{
    *m_stop = true;
}

quint64 OverviewReader::timeOf(int column) const
{
    const double part = (column + 0.5) / m_columns;
    return m_from + static_cast<quint64>(part * static_cast<double>(m_to - m_from));
}

void OverviewReader::reduce(const QVector<SamplePoint> &samples, quint64 from, quint64 to, QVector<Column> &columns)
{
    const double scale = columns.size() / static_cast<double>(to - from);
    for (const SamplePoint &sample : samples) {
        if (sample.time < from || sample.time >= to)
            continue;
        const int at = qMin(columns.size() - 1, static_cast<int>(static_cast<double>(sample.time - from) * scale));
        Column &column = columns[at];
        column.lowest = column.any ? qMin(column.lowest, sample.voltage) : sample.voltage;
        column.highest = column.any ? qMax(column.highest, sample.voltage) : sample.voltage;
        column.any = true;
    }
}

void OverviewReader::start()
{
    auto *job = new Job; // the pool deletes it
    job->data = m_data;
    job->from = m_from;
    job->to = m_to;
    job->columnCount = m_columns;
    job->stop = m_stop;
    // The reader may be gone when a report arrives: the stop flag is looked at in the thread where it is set.
    QThreadPool *const pool = QThreadPool::globalInstance();
    job->report = [this, pool, stop = m_stop](const QVector<Column> &columns) {
        QMetaObject::invokeMethod(
            pool,
            [this, stop, columns] {
                if (!*stop)
                    emit updated(columns);
            },
            Qt::QueuedConnection);
    };
    pool->start(job);
}
