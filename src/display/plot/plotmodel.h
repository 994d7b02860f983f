#pragma once

#include "display/look/eventlook.h"
#include "display/plot/plotsection.h"
#include "display/plot/plotview.h"
#include "display/plot/timeaxis.h"
#include "display/records/recordset.h"
#include "display/records/seriescache.h"

#include <QColor>
#include <QString>
#include <QVector>

#include <memory>
#include <optional>
#include <vector>

/// One sensor on a plot.
struct PlotSensor
{
    QString serial;
    QString label;
    QColor colour;  // as the session keeps it
    int number = 0; // position among the sensors, for dashes
    bool visible = true;
    bool axisHidden[2] = {false, false}; // by the legend: left, right
    bool connected = false;
    QVector<TimeRange> losses; // of the connection, from sample to sample; `to` is 0 until the next sample came
    std::shared_ptr<PlotSource> source;
    std::unique_ptr<SeriesCache> series;
    std::shared_ptr<const RecordSet> records = std::make_shared<const RecordSet>(); // its marks and bands
    QVector<EventLook> looks;                                                       // by the number of the name

    bool shows(PlotView::Axis axis) const { return visible && !axisHidden[axis]; }
    void setRecords(std::shared_ptr<const RecordSet> shown, const EventLooks &look);
    EventLook lookOf(const EventRow &event) const { return looks.value(event.type); }
    void setConnected(bool up, quint64 lastSample);
    /// Ends the newest loss with the sample after it; forgets it when nothing is missing there.
    void closeLoss(int quantity);
};

/// Everything a plot shows, without a widget: the sensors with their caches, the quantities of the two axes, the view,
/// the time axis and the two cursors. Figures draw it; the display changes it. GUI thread.
class PlotModel
{
public:
    static constexpr int noQuantity = -1;

    std::vector<std::unique_ptr<PlotSensor>> sensors;
    PlotView view;
    TimeAxis timeAxis;
    int quantities[2] = {0, noQuantity};
    std::optional<quint64> cursors[2];
    quint64 origin = 0; // of elapsed times; 0: the first sample
    quint64 now = 0;    // where a connection that is still lost ends on the plot
    QVector<PlotSection> sections;
    std::optional<TimeRange> home; // of a plot that shows one stretch and never follows

    PlotSensor *sensor(const QString &serial) const;
    bool hasAxis(PlotView::Axis axis) const { return quantities[axis] != noQuantity; }
    /// Those on an axis, each once.
    QVector<int> shownQuantities() const;
    /// First to last sample of the visible sensors.
    TimeRange dataRange() const;
    /// Looks at the data range again and fits automatic axes to what is visible; true when the view moved.
    bool update();
    std::optional<TimeRange> cursorRange() const;
    /// "Voltage", "Current (Real)"; empty for noQuantity.
    static QString quantityName(int quantity);
    static QString quantityUnit(int quantity);
    /// Runs and events of visible sensors before or after a time, the nearest; 0 when there is none.
    quint64 neighbourMark(quint64 time, bool forward) const;
};
