#include "display/plot/tickdraw.h"

#include <algorithm>
#include <cmath>

void TickDraw::setTicks(const QVector<double> &ticks, const QStringList &labels)
{
    if (labels == m_labels && ticks == m_ticks)
        return;
    m_ticks = ticks;
    m_labels = labels;
    invalidateCache();
}

QwtText TickDraw::label(double value) const
{
    const auto found = std::lower_bound(m_ticks.begin(), m_ticks.end(), value);
    const int index = int(found - m_ticks.begin());
    for (const int candidate : {index, index - 1})
        if (candidate >= 0 && candidate < m_ticks.size() && m_ticks[candidate] == value)
            return QwtText(m_labels.value(candidate), QwtText::PlainText);
    return QwtText();
}
