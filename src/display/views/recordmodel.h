#pragma once

#include "display/plot/timeaxis.h"
#include "display/records/recordkey.h"
#include "display/records/sessionrecords.h"

#include <QAbstractTableModel>
#include <QIcon>
#include <QVector>

#include <functional>
#include <memory>

/// A list of runs or events: which of them pass the filter, in the order of a column. It reads shared records and keeps
/// a few bytes a row, so a hundred thousand rows are sorted in one go. Rows that come are inserted where possible; any
/// other change resets the model, and the table brings the selection back by keys. GUI thread.
class RecordModel : public QAbstractTableModel
{
    Q_OBJECT

public:
    struct Column
    {
        QString title; // with the unit; cells are plain numbers
        QString tip;
        bool number = false;
        int width = 8;       // characters
        bool isTime = false; // of the start of the record, in short; copies and searches have it in full

        friend bool operator==(const Column &a, const Column &b) { return a.title == b.title; }
    };
    using Sensors = QVector<SessionRecords::Sensor>;

    RecordModel(QVector<Column> columns, int sortColumn, Qt::SortOrder order, QObject *parent);

    void setSensors(const Sensors &sensors);
    /// Only rows whose words and times hold every word of the text.
    void setSearch(const QString &text);
    /// Only rows of the period; an empty one is no limit.
    void setPeriod(const TimeRange &period);
    const TimeRange &period() const { return m_period; }
    void setTimeMode(TimeMode mode);
    /// What tells the sensors apart beside the times, when there is more than one; again when the icons are others.
    void setSensorIcon(std::function<QIcon(const ViewSensor &)> icon);

    const Sensors &sensors() const { return m_sensors; }
    const TimeAxis &timeAxis() const { return m_timeAxis; }
    int sortColumn() const { return m_sortColumn; }
    Qt::SortOrder sortOrder() const { return m_order; }
    /// Rows there are without search, period and filter.
    int total() const { return m_total; }
    RecordKey key(int row) const;
    /// Of a row that is there.
    const SessionRecords::Sensor &sensorAt(int row) const { return sensorOf(place(row)); }
    /// -1 when it is not shown.
    int rowOf(const RecordKey &key) const;
    /// The chosen rows as tab-separated lines under a header line.
    QString text(const QVector<int> &rows) const;

    int rowCount(const QModelIndex &parent = {}) const override;
    int columnCount(const QModelIndex &parent = {}) const override;
    QVariant data(const QModelIndex &index, int role) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role) const override;
    void sort(int column, Qt::SortOrder order) override;

protected:
    /// A row's place in the records.
    struct Place
    {
        int sensor = 0;
        int index = 0;
    };

    const RecordSet &records(const Place &place) const { return *m_sensors.at(place.sensor).records; }
    const SessionRecords::Sensor &sensorOf(const Place &place) const { return m_sensors.at(place.sensor); }
    Place place(int row) const { return m_places[std::size_t(row)]; }
    /// Chooses and sorts again: after a change of what accepts() or cell() look at.
    void rebuild();
    void redraw();
    /// Resets the model when these are others.
    void setColumns(const QVector<Column> &columns);

    virtual int count(const SessionRecords::Sensor &sensor) const = 0;
    virtual bool accepts(const Place &place) const = 0;
    virtual TimeRange range(const Place &place) const = 0;
    virtual qint32 typeCode(const Place &place) const = 0;
    virtual QString cell(const Place &place, int column) const = 0;
    virtual QVariant decoration(const Place &, int) const { return {}; }
    /// Negative, 0 or positive.
    virtual int compare(const Place &a, const Place &b, int column) const = 0;

    template <class T>
    static int order(const T &a, const T &b)
    {
        return a < b ? -1 : b < a ? 1 : 0;
    }

private:
    struct RowId
    {
        quint64 time;
        qint32 typeCode;
        qint32 sensor;
        friend bool operator==(const RowId &a, const RowId &b)
        {
            return a.time == b.time && a.typeCode == b.typeCode && a.sensor == b.sensor;
        }
    };

    void adopt(const Sensors &sensors);
    QVariant sensorIcon(const ViewSensor &sensor) const;
    std::vector<Place> chosen();
    bool matches(const Place &place) const;
    RowId idOf(const Place &place) const { return {range(place).from, typeCode(place), place.sensor}; }

    QVector<Column> m_columns;
    Sensors m_sensors;
    std::vector<Place> m_places;
    std::vector<RowId> m_ids;
    TimeAxis m_timeAxis;
    std::function<QIcon(const ViewSensor &)> m_sensorIcon;
    mutable QHash<QString, QIcon> m_sensorIcons; // by serial
    TimeRange m_period;
    QStringList m_words;
    int m_total = 0;
    int m_sortColumn;
    Qt::SortOrder m_order;
};
