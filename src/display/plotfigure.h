#pragma once

#include "display/plotmodel.h"
#include "display/theme.h"

#include <qwt_plot.h>

class BandItem;
class CurveItem;
class MarkerItem;
class QwtPlotCanvas;
class QwtPlotGrid;
class SectionItem;
class TickDraw;

/// The drawn plot: canvas, axes, curves, bands and markers of a model in the colours of a theme. It decides nothing; a
/// second one of another size and theme makes a picture of the same model. GUI thread; model and theme are only read
/// during show().
class PlotFigure : public QwtPlot
{
    Q_OBJECT

public:
    explicit PlotFigure(QWidget *parent = nullptr);
    ~PlotFigure() override;

    /// Brings everything up to date and draws it. The model's view is taken as it is.
    void show(PlotModel &model, const Theme &theme);
    /// How long the last painting of the canvas took.
    qint64 paintMs() const { return m_paintMs; }
    using QwtPlot::show;
    /// The grid of columns that fits the canvas now.
    ColumnGrid grid(const TimeRange &range) const;
    /// Colours, pens and fonts again at the next show().
    void forgetTheme() { m_themed = false; }

    /// Device pixels a logical pixel when drawn into a picture; 0: those of the screen.
    void setPixelRatio(double ratio) { m_pixelRatio = ratio; }

    QwtPlotCanvas *plotCanvas() const { return m_canvas; }
    /// What is under a point of the canvas.
    quint64 timeAt(double x) const;
    double xOf(quint64 time) const;
    double valueAt(PlotView::Axis axis, double y) const;
    double yOf(PlotView::Axis axis, double value) const;
    const MarkerItem &markers() const { return *m_markers; }
    const BandItem &bands() const { return *m_bands; }
    const std::vector<CurveItem *> &curves() const { return m_curves; }

protected:
    void changeEvent(QEvent *event) override;
    void drawCanvas(QPainter *painter) override;

private:
    void applyTheme(const Theme &theme);
    void applyFonts();
    void showAxes(const PlotModel &model);
    void showValueAxis(const PlotModel &model, PlotView::Axis axis);
    void showCurves(PlotModel &model, const Theme &theme);
    void showBands(const PlotModel &model, const Theme &theme);
    void showSections(const PlotModel &model);
    void showMarkers(const PlotModel &model, const Theme &theme);

    QwtPlotCanvas *m_canvas;
    QwtPlotGrid *m_grid;
    BandItem *m_bands;
    MarkerItem *m_markers;
    SectionItem *m_sections[2]; // by axis
    TickDraw *m_timeDraw;
    TickDraw *m_valueDraw[2];
    std::vector<CurveItem *> m_curves;
    double m_pixelRatio = 0;
    bool m_themed = false;
    qint64 m_paintMs = 0;
};
