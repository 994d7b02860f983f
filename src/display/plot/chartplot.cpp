#include "display/plot/chartplot.h"

#include <QFontMetrics>
#include <qwt_plot_canvas.h>
#include <qwt_plot_grid.h>

#include <algorithm>

ChartPlot::ChartPlot(QWidget *parent) : ThemedPlot({yLeft}, parent)
{
    lines()->enableX(false);
}

void ChartPlot::setBottomAxis(const ValueSpan &span, double offset, const QString &name, const QString &unit)
{
    const QFontMetrics metrics(axisFont(xBottom));
    const int labelWidth = metrics.horizontalAdvance(QStringLiteral("-0000.00  "));
    const int most = std::clamp(plotCanvas()->width() / std::max(1, labelWidth), 2, 8);
    ValueTicks ticks = valueTicks({span.low - offset, span.high - offset}, unit, most);
    for (QVector<double> *list : {&ticks.major, &ticks.minor})
        for (double &tick : *list)
            tick += offset;
    setTicks(xBottom, span, ticks, name);
}
