#pragma once

#include "data/seriesblock.h"
#include "display/plot/timeaxis.h"

#include <QAbstractTableModel>
#include <QColor>
#include <QVector>

#include <memory>

class Theme;
class norvexData;

/// A run or an event that is laid over others.
struct OverlayEntry
{
    enum Kind { Run, Event };
    enum State { Waiting, Read, Missing };

    Kind kind = Run;
    QString serial;
    QString sensor; // as the views name it
    int number = 0; // of the run or event of its sensor, from 1
    QString type;   // recipe of a run, type of an event
    quint64 start = 0;
    quint64 end = 0;
    qint32 typeCode = 0; // of an event
    bool visible = true;
    QColor colour;       // of the curve; pass it through the theme
    QColor sensorColour; // as the session keeps it
    std::shared_ptr<norvexData> store;

    State state = Waiting;
    std::shared_ptr<SeriesBlock> series;
    double distance = -1; // from the median of the overlay; < 0: not known
    double score = 0;     // of that distance among the others

    bool isSame(const OverlayEntry &other) const
    {
        return kind == other.kind && start == other.start && typeCode == other.typeCode && serial == other.serial;
    }
};

/// The list of overlaid runs and events. What is in it, in which colour and whether it is seen; the curves themselves
/// are put in by who reads them. GUI thread.
class OverlayTable : public QAbstractTableModel
{
    Q_OBJECT

public:
    enum Column { Number, Colour, Distance, Length, Start, Sensor, Type, columnTotal };
    enum Role { SortRole = Qt::UserRole };

    explicit OverlayTable(const Theme &theme, QObject *parent = nullptr);

    /// Leaves out what is there already; returns how many came.
    int add(const QVector<OverlayEntry> &entries);
    void remove(QVector<int> rows);
    void removeSensor(const QString &serial);
    void clear(OverlayEntry::Kind kind);

    int count(OverlayEntry::Kind kind) const;
    const OverlayEntry &entry(int row) const { return m_entries[row]; }
    int find(OverlayEntry::Kind kind, const QString &serial, quint64 start, qint32 typeCode) const;
    void setSeries(const OverlayEntry &of, std::shared_ptr<SeriesBlock> series);
    /// Distances from the median by row, of one kind; the odd ones out are marked.
    void setDistances(const QVector<int> &rows, const QVector<double> &distances, const QString &unit);
    void setColour(int row, const QColor &colour);
    void setType(int row, const QString &type);
    void setTimeMode(TimeMode mode);
    QString toText(const QVector<int> &rows) const;

    int rowCount(const QModelIndex &parent = {}) const override;
    int columnCount(const QModelIndex &parent = {}) const override { return parent.isValid() ? 0 : columnTotal; }
    QVariant data(const QModelIndex &index, int role = Qt::DisplayRole) const override;
    bool setData(const QModelIndex &index, const QVariant &value, int role) override;
    Qt::ItemFlags flags(const QModelIndex &index) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role = Qt::DisplayRole) const override;

signals:
    /// How many of each are in the table.
    void overlayTableUpdated(int runs, int events);
    /// Curves came, went, were shown or hidden, or changed colour.
    void curvesChanged();

private:
    QString cellText(const OverlayEntry &entry, int column) const;
    static int alignment(int column);
    QVariant sortValue(const OverlayEntry &entry, int column) const;
    void announce();

    const Theme &m_theme;
    QVector<OverlayEntry> m_entries;
    TimeAxis m_time;
    QString m_unit;
};
