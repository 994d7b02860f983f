#pragma once

#include "display/plot/plotsection.h"

#include <QPen>
#include <qwt_plot_item.h>

/// Draws sections over the curves of one axis. The levels are in the values of that axis; the item of the left axis
/// draws lines and names as well. Owned by its plot.
class SectionItem : public QwtPlotItem
{
public:
    struct Section
    {
        TimeRange range;
        QString label;
        double level;
    };

    SectionItem();

    int rtti() const override { return QwtPlotItem::Rtti_PlotUserItem + 4; }
    void setSections(QVector<Section> sections) { m_sections = std::move(sections); }
    const QVector<Section> &sections() const { return m_sections; }
    /// Names are written in `ink` and set apart from a curve below them by `ground`.
    void setPens(const QPen &edge, const QPen &level, const QColor &ink, const QColor &ground);
    void setNamed(bool named) { m_named = named; }
    /// Height left free above the names.
    void setTopMargin(double pixels) { m_topMargin = pixels; }

    void draw(QPainter *painter, const QwtScaleMap &xMap, const QwtScaleMap &yMap, const QRectF &canvas) const override;

private:
    QVector<Section> m_sections;
    QPen m_edge;
    QPen m_level;
    QColor m_ink;
    QColor m_ground;
    bool m_named = false;
    double m_topMargin = 0;
};
