#pragma once

#include "display/look/displaycontext.h"
#include "display/look/theme.h"
#include "display/records/recordkey.h"
#include "display/records/timerange.h"

#include <QColor>
#include <QImage>
#include <QString>
#include <QVector>
#include <QWidget>

#include <memory>

class SessionSelection;
class norvexData;

/// A sensor as the views see it.
struct ViewSensor
{
    QString serial;
    QString label; // "SN-0012 Chamber 1"
    std::shared_ptr<norvexData> store;
    QColor colour;  // as kept in the session; pass it through Theme::themed() or curvePen()
    bool on = true; // its display is switched on
};

/// One of the views beside the live plot: runs, events, overlays, summary, bar chart. It shows the sensors that are
/// switched on, follows the selection that all views share, and reads stores on pool threads when that takes long. GUI
/// thread; owned by the session form.
class SessionView : public QWidget
{
    Q_OBJECT

public:
    SessionView(const DisplayContext &context, SessionSelection &selection, QWidget *parent = nullptr)
        : QWidget(parent), m_context(context), m_selection(selection)
    {}

    /// Sensors came, went, were switched on or off, or changed colour.
    virtual void setSensors(const QVector<ViewSensor> &sensors) { m_sensors = sensors; }
    /// Something was stored. Called at most five times a second, and only while the view is visible (and once when it
    /// becomes so); cheap when nothing concerns this view.
    virtual void refresh() = 0;
    /// The event filter, the type dictionary or the time mode changed.
    virtual void filterChanged() = 0;
    virtual void setTimeMode(TimeMode mode) { m_timeMode = mode; }
    /// What it shows, or lets choose from; empty when that is no stretch of time of its own.
    virtual TimeRange rangeInView() const { return {}; }
    /// The runs, or else the events, that the user chose in it to be compared; empty: those of the range in view.
    virtual QVector<RecordKey> chosenRecords(bool runs) const
    {
        Q_UNUSED(runs)
        return {};
    }
    /// The view as a picture, for the image export; the plain grab unless a view draws better.
    virtual QImage renderImage(qreal scale, Theme::Kind kind)
    {
        Q_UNUSED(scale)
        Q_UNUSED(kind)
        return grab().toImage();
    }

signals:
    /// Show the live or time plot with this range.
    void plotRequested(quint64 from, quint64 to);
    /// Another view should come to the front, by the number of its button.
    void viewRequested(int view);

protected:
    DisplayContext m_context;
    SessionSelection &m_selection;
    QVector<ViewSensor> m_sensors;
    TimeMode m_timeMode = TimeMode::Utc;
};
