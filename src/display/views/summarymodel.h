#pragma once

#include "display/plot/timeaxis.h"
#include "display/records/runstatistics.h"

#include <QAbstractTableModel>
#include <QStringList>
#include <QVector>

#include <array>

class Theme;

/// One run of the summary.
struct SummaryRow
{
    int sensor = 0; // position in the model's labels
    QString serial;
    int number = 0; // of the run, from 1
    RunRecord run;
    QVector<int> counts; // events of each type column
    int total = 0;

    double duration() const { return run.end > run.start ? double(run.end - run.start) * 1e-6 : 0; } // s
};

/// The runs of a session as a table, and below them totals, mean, least and greatest of what is in it. Values that lie
/// far from those of the other runs of the same recipe and sensor are marked. Sorting keeps the order of equal rows.
/// GUI thread.
class SummaryModel : public QAbstractTableModel
{
    Q_OBJECT

public:
    enum Column { Run, Sensor, Start, End, Duration, MeanVoltage, MeanCurrent, RecipeName, FirstType };
    enum Role { CopyRole = Qt::UserRole };

    explicit SummaryModel(const Theme &theme, QObject *parent = nullptr);

    void setRows(QVector<SummaryRow> rows, const QStringList &sensors, const QStringList &types);
    void setTimeMode(TimeMode mode, quint64 origin);
    const SummaryRow &row(int index) const { return m_rows[m_order[index]]; }
    int totalColumn() const { return FirstType + m_types.size(); }
    /// Where a run is now, -1 when it is not here.
    int find(const QString &serial, quint64 start) const;
    int markedCount() const;
    bool isMarked(int row, int column) const { return isOutOfFamily(score(m_order[row], column)); }
    /// Rows as a tab-separated table with a header line.
    QString toText(const QVector<int> &rows) const;

    int rowCount(const QModelIndex &parent = {}) const override;
    int columnCount(const QModelIndex &parent = {}) const override;
    QVariant data(const QModelIndex &index, int role = Qt::DisplayRole) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role = Qt::DisplayRole) const override;
    void sort(int column, Qt::SortOrder order = Qt::AscendingOrder) override;

    /// The value of a column that has numbers: what is summed up and sorted by.
    double value(const SummaryRow &row, int column) const;
    bool hasStatistics(int column) const;
    QString valueText(int column, double value) const;

private:
    QString cellText(const SummaryRow &row, int column) const;
    QString copyText(const SummaryRow &row, int column) const;
    QString markText(int row, int column) const;
    double score(int row, int column) const;
    void computeScores();
    void arrange();

    static constexpr int scoredColumns = 4;

    const Theme &m_theme;
    QVector<SummaryRow> m_rows;
    QVector<std::array<double, scoredColumns>> m_scores;
    QVector<int> m_order; // position in the table -> in m_rows
    QStringList m_sensors;
    QStringList m_types;
    TimeAxis m_time;
    int m_sortColumn = -1;
    Qt::SortOrder m_sortOrder = Qt::AscendingOrder;
};

/// The lines below the summary: "Total", "Mean", "Min" and "Max" of the columns above. It follows the model.
class SummaryTotals : public QAbstractTableModel
{
    Q_OBJECT

public:
    explicit SummaryTotals(const SummaryModel &summary, QObject *parent = nullptr);

    int rowCount(const QModelIndex &parent = {}) const override { return parent.isValid() ? 0 : 4; }
    int columnCount(const QModelIndex &parent = {}) const override { return m_summary.columnCount(parent); }
    QVariant data(const QModelIndex &index, int role = Qt::DisplayRole) const override;

private:
    void compute();

    const SummaryModel &m_summary;
    QVector<ValueStatistics> m_columns;
};
