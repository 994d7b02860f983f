#include "display/plot/sectionitem.h"

#include <QFontMetricsF>
#include <QPainter>
#include <QPainterPath>
#include <qwt_scale_map.h>

#include <algorithm>
#include <cmath>

namespace {

constexpr double haloWidth = 4;

} // namespace

SectionItem::SectionItem()
{
    setZ(24);
    setItemAttribute(QwtPlotItem::Legend, false);
    setItemAttribute(QwtPlotItem::AutoScale, false);
}

void SectionItem::setPens(const QPen &edge, const QPen &level, const QColor &ink, const QColor &ground)
{
    m_edge = edge;
    m_level = level;
    m_ink = ink;
    m_ground = ground;
}

void SectionItem::draw(QPainter *painter, const QwtScaleMap &xMap, const QwtScaleMap &yMap, const QRectF &canvas) const
{
    const QFontMetricsF metrics(painter->font());
    for (const Section &section : m_sections) {
        const double begin = xMap.transform(double(section.range.from));
        const double left = std::max(begin, canvas.left());
        const double right = std::min(xMap.transform(double(section.range.to)), canvas.right());
        if (begin > canvas.right() || (right < canvas.left() && section.range.length() > 0))
            continue;
        if (std::isfinite(section.level) && right > left) {
            const double y = yMap.transform(section.level);
            painter->setPen(m_level);
            painter->drawLine(QPointF(left, y), QPointF(right, y));
        }
        if (!m_named)
            continue;
        painter->setPen(m_edge);
        if (begin >= canvas.left())
            painter->drawLine(QPointF(begin, canvas.top()), QPointF(begin, canvas.bottom()));
        const double room = section.range.length() > 0 ? right - left - 6 : canvas.right() - left - 6;
        const QString text = metrics.elidedText(section.label, Qt::ElideRight, room);
        if (text.size() < std::min(3, section.label.size()))
            continue;
        const QPointF at(left + 4, canvas.top() + m_topMargin + metrics.ascent());
        QPainterPath letters;
        letters.addText(at, painter->font(), text);
        painter->save();
        painter->setRenderHint(QPainter::Antialiasing);
        painter->strokePath(letters, QPen(m_ground, haloWidth, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
        painter->restore();
        painter->setPen(m_ink);
        painter->drawText(at, text);
    }
}
