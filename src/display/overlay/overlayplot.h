#pragma once

#include "display/overlay/overlaypicture.h"
#include "display/plot/chartnavigator.h"

#include <QString>
#include <QTimer>
#include <QWidget>

#include <optional>

class ChartPlot;
class EmptyPage;
class OverlayItem;
class QLabel;
class Theme;

/// The curves of an overlay over the time since their start. They are painted on a pool thread, once for each zoom;
/// until a picture is there the last one is shown where it belongs. GUI thread. The theme must outlive it.
class OverlayPlot : public QWidget
{
    Q_OBJECT

public:
    /// `timeName` names the time axis: "Time since start".
    OverlayPlot(const Theme &theme, const QString &timeName, QWidget *parent = nullptr);
    ~OverlayPlot() override;

    /// `names` are those of the curves, for the readout.
    void setCurves(const QVector<OverlayCurve> &curves, const QStringList &names);
    void setQuantity(int quantity);
    int quantity() const { return m_quantity; }
    void setLayers(bool curves, bool band);
    EmptyPage *notice() const { return m_notice; }
    /// The picture that is shown is the one of the present view.
    bool isUpToDate() const { return !m_running && !m_timer.isActive(); }
    const OverlayPicture &picture() const;
    bool pressKey(QKeyEvent *event);

signals:
    void curveClicked(int index);
    /// For each curve, in the order given to setCurves().
    void distancesFound(const QVector<double> &distances);

protected:
    void resizeEvent(QResizeEvent *event) override;

private:
    struct Mailbox;

    void redrawSoon();
    void showAxes();
    void redraw();
    void takePicture();
    void themeChanged();
    int curveAt(const QPointF &point) const;
    void hover(const QPointF &point);
    void placeCursor(int number, const std::optional<quint64> &time);
    void showCursors();
    double bandValue(const std::vector<float> &values, quint64 time) const;

    const Theme &m_theme;
    const QString m_timeName;
    ChartPlot *m_plot;
    OverlayItem *m_item; // the plot's
    ChartNavigator *m_navigator;
    EmptyPage *m_notice;
    QLabel *m_cursorText;
    QVector<OverlayCurve> m_curves;
    QStringList m_names;
    int m_quantity = 0;
    bool m_showCurves = true;
    bool m_showBand = true;
    QTimer m_timer;     // several changes are one picture
    QTimer m_busyTimer; // a picture takes long
    std::shared_ptr<Mailbox> m_mailbox;
    bool m_running = false;
    bool m_again = false;
    bool m_distancesWanted = false;
    quint64 m_curvesRevision = 0; // counts setCurves() and setQuantity()
    std::optional<QPointF> m_pointer;
    std::optional<quint64> m_cursors[2];
};
