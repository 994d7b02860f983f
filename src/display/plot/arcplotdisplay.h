#pragma once

#include "display/look/eventlook.h"
#include "display/look/theme.h"
#include "display/plot/plotsection.h"
#include "display/records/plotsource.h"
#include "display/records/timerange.h"

#include <QImage>
#include <QWidget>

#include <functional>
#include <memory>
#include <optional>

class norvexData;
struct RecordSet;

/// The time-series plot: any two of the quantities of any number of sensors over time, live or stored, with runs as
/// bands, events as markers and gaps as breaks. It reads through min/max pyramids, so that a drawn extreme is a true
/// one and a zoomed-out view reads no files. GUI thread; reading happens on pool threads. It redraws at most ten times
/// a second, and only while it is visible and something changed. The theme must outlive it; sources are shared.
class arcPlotDisplay : public QWidget
{
    Q_OBJECT

public:
    explicit arcPlotDisplay(Theme &theme, QWidget *parent = nullptr);
    ~arcPlotDisplay() override;

    static constexpr int noQuantity = -1;

    // --- sensors
    /// `serial` identifies the sensor, `label` is what the legend says ("SN-0012 Chamber 1").
    void addSensor(const QString &serial, const QString &label, const std::shared_ptr<norvexData> &store,
                   const QColor &colour);
    void addSensor(const QString &serial, const QString &label, std::shared_ptr<PlotSource> source,
                   const QColor &colour);
    void removeSensor(const QString &serial);
    void removeAllSensors();
    /// As enableDisplay of a sensor card: a sensor that is switched off keeps its cache but draws nothing.
    void setSensorVisible(const QString &serial, bool visible);
    void setSensorColour(const QString &serial, const QColor &colour);
    /// The connection came or went; what is missing after the last sample (us, 0: none) that came over it is hatched.
    void setConnected(const QString &serial, bool connected, quint64 lastSample);

    // --- what is shown
    void setQuantities(int left, int right);
    int leftQuantity() const;
    int rightQuantity() const;
    /// The runs and events of a sensor, which become bands and markers.
    void setRecords(const QString &serial, const std::shared_ptr<const RecordSet> &records);
    /// How events are drawn, by the name they are shown under; asked in the GUI thread, now and for new records.
    void setEventLooks(const EventLooks &looks);
    void setTimeMode(TimeMode mode);
    TimeMode timeMode() const;
    /// Length of the followed window in us; 0 is the whole range.
    void setSpan(quint64 span);
    quint64 span() const;
    bool isFollowing() const;
    TimeRange visibleRange() const;
    void setVisibleRange(const TimeRange &range);
    /// From the first sample of a visible sensor to the last one; empty without any.
    TimeRange dataRange() const;
    /// The range between the two cursors.
    std::optional<TimeRange> cursorRange() const;
    /// Makes this a plot of one stretch, and shows it: Home comes back to it, nothing follows, N and P are left to the
    /// owner, and the tools of live data go. Cursors and zoom history of the stretch before are forgotten.
    void setFixedRange(const TimeRange &range);
    /// Stretches to mark and name.
    void setSections(const QVector<PlotSection> &sections);
    /// What elapsed times count from, when that is not the first sample here.
    void setTimeOrigin(quint64 time);
    /// Times are microseconds after this moment, which the axis calls `name`.
    void setTimeZero(quint64 time, const QString &name);
    /// What an empty plot says, with the text of its one button; an empty text restores the plot's own words.
    void setEmptyState(const QString &text, const QString &button = QString());

    /// The row with quantities, span presets, follow and time mode. It stands above the plot unless it is taken and
    /// placed elsewhere.
    QWidget *toolBar() const;

    /// The plot as a picture of `size` logical pixels, whatever the window's size is.
    QImage renderImage(const QSize &size, qreal scale = 1.0, Theme::Kind kind = Theme::Kind::Light);

public slots:
    /// Something changed in a source; the next refresh looks.
    void markDirty();
    void setFollowing(bool following);
    void jumpToLive();
    void showWholeRange();
    void zoomBack();
    void zoomForward();
    void copyToClipboard();

signals:
    /// The user chose a stretch of time (both cursors, or a double click on a run).
    void timeFrameSelected(quint64 from, quint64 to);
    /// The visible window became another one; `display` is the number given by setDisplayNumber.
    void setCurrentDisplayWindow(unsigned int display, quint64 from, quint64 to);
    /// The user asked for another view: a double click on an event marker.
    void yieldView();
    /// Escape with nothing left to remove: back to the ordinary view.
    void returnToNormalMode();

    void followingChanged(bool following);
    void timeModeChanged(TimeMode mode);
    void spanChanged(quint64 span);
    void quantitiesChanged(int left, int right);
    /// Stored samples are being read for the first time; done == total when it is over.
    void readProgress(int done, int total);
    void eventActivated(const QString &serial, quint64 time, int typeCode);
    /// A double click on a run.
    void runActivated(const QString &serial, quint64 start);
    void emptyStateButtonClicked();
    /// N or P on a plot of one stretch.
    void neighbourWanted(bool forward);

public:
    void setDisplayNumber(unsigned int number);

protected:
    bool event(QEvent *event) override;
    void keyPressEvent(QKeyEvent *event) override;
    void showEvent(QShowEvent *event) override;
    void hideEvent(QHideEvent *event) override;
    void resizeEvent(QResizeEvent *event) override;

private:
    class Private;
    std::unique_ptr<Private> d;
};
