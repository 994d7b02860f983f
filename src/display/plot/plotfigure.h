#pragma once

#include "display/look/theme.h"
#include "display/plot/plotmodel.h"
#include "display/plot/themedplot.h"

class BandItem;
class CurveItem;
class MarkerItem;
class SectionItem;

/// The drawn plot: canvas, axes, curves, bands and markers of a model in the colours of a theme. It decides nothing; a
/// second one of another size and theme makes a picture of the same model. GUI thread; model and theme are only read
/// during show().
class PlotFigure : public ThemedPlot
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

    /// What is under a point of the canvas.
    double xOf(quint64 time) const;
    double valueAt(PlotView::Axis axis, double y) const;
    double yOf(PlotView::Axis axis, double value) const;
    const MarkerItem &markers() const { return *m_markers; }
    const BandItem &bands() const { return *m_bands; }
    const std::vector<CurveItem *> &curves() const { return m_curves; }

protected:
    void applyFonts() override;
    void drawCanvas(QPainter *painter) override;

private:
    void applyTheme(const Theme &theme);
    void showAxes(const PlotModel &model);
    void showCurves(PlotModel &model, const Theme &theme);
    void showBands(const PlotModel &model, const Theme &theme);
    void showSections(const PlotModel &model);
    void showMarkers(const PlotModel &model, const Theme &theme);

    BandItem *m_bands;
    MarkerItem *m_markers;
    SectionItem *m_sections[2]; // by axis
    std::vector<CurveItem *> m_curves;
    double m_pixelRatio = 0;
    bool m_themed = false;
    qint64 m_paintMs = 0;
};
