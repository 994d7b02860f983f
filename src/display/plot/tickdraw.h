#pragma once

#include <QStringList>
#include <QVector>
#include <qwt_scale_draw.h>

/// A scale whose ticks and labels are given instead of computed, so that the words are decided where they can be
/// tested. Its extent never shrinks below the given text, so that the plot does not jump. Owned by its scale widget.
class TickDraw : public QwtScaleDraw
{
public:
    void setTicks(const QVector<double> &ticks, const QStringList &labels);
    QwtText label(double value) const override;

private:
    QVector<double> m_ticks;
    QStringList m_labels;
};
