#pragma once

#include "data/abstractnorvexdata.h"

#include <QObject>
#include <QVector>

#include <atomic>
#include <memory>

/// Reads the voltage of a whole recording on a pool thread and reduces it to lowest and highest value of a fixed number
/// of columns, for a small picture of it. Slices come one by one, so memory stays flat. GUI thread; ends with its owner.
class OverviewReader : public QObject
{
    Q_OBJECT

public:
    struct Column
    {
        bool any = false;
        double lowest = 0;
        double highest = 0;
    };

    OverviewReader(std::shared_ptr<const abstractNorvexData> data, quint64 from, quint64 to, int columns,
                   QObject *parent = nullptr);
    ~OverviewReader() override;

    void start();
    /// Time of a column's middle, us.
    quint64 timeOf(int column) const;

    /// Columns of the samples with from <= time < to: which sample belongs to which, and their extremes.
    static void reduce(const QVector<SamplePoint> &samples, quint64 from, quint64 to, QVector<Column> &columns);

signals:
    void updated(const QVector<OverviewReader::Column> &columns);

private:
    std::shared_ptr<const abstractNorvexData> m_data;
    const quint64 m_from;
    const quint64 m_to;
    const int m_columns;
    std::shared_ptr<std::atomic<bool>> m_stop;
};
