#include "display/look/flowlayout.h"

#include <QWidget>

#include <algorithm>

FlowLayout::FlowLayout(QWidget *parent, int spacing) : QLayout(parent)
{
    setContentsMargins(0, 0, 0, 0);
    setSpacing(spacing);
}

FlowLayout::~FlowLayout()
{
    qDeleteAll(m_items);
}

QLayoutItem *FlowLayout::takeAt(int index)
{
    return index >= 0 && index < m_items.size() ? m_items.takeAt(index) : nullptr;
}

QSize FlowLayout::minimumSize() const
{
    QSize size;
    for (const QLayoutItem *item : m_items)
        size = size.expandedTo(item->minimumSize());
    const QMargins margins = contentsMargins();
    return size + QSize(margins.left() + margins.right(), margins.top() + margins.bottom());
}

QSize FlowLayout::sizeHint() const
{
    int width = 0;
    int height = 0;
    for (const QLayoutItem *item : m_items) {
        if (item->isEmpty())
            continue;
        width += item->sizeHint().width() + spacing();
        height = std::max(height, item->sizeHint().height());
    }
    const QMargins margins = contentsMargins();
    return {width + margins.left() + margins.right(), height + margins.top() + margins.bottom()};
}

void FlowLayout::setGeometry(const QRect &rect)
{
    QLayout::setGeometry(rect);
    arrange(rect, true);
}

int FlowLayout::arrange(const QRect &rect, bool apply) const
{
    const QRect area = rect.marginsRemoved(contentsMargins());
    const QMargins margins = contentsMargins();
    int y = area.top();
    int index = 0;
    while (index < m_items.size()) {
        // One row: as many as fit.
        QVector<QLayoutItem *> row;
        int width = 0;
        int height = 0;
        for (; index < m_items.size(); ++index) {
            QLayoutItem *item = m_items[index];
            if (item->isEmpty())
                continue;
            const int itemWidth = std::min(item->sizeHint().width(), std::max(area.width(), 1));
            if (!row.isEmpty() && width + spacing() + itemWidth > area.width())
                break;
            width += itemWidth + (row.isEmpty() ? 0 : spacing());
            height = std::max(height, item->sizeHint().height());
            row.append(item);
        }
        int x = area.left();
        for (QLayoutItem *item : qAsConst(row)) {
            const QSize hint(std::min(item->sizeHint().width(), std::max(area.width(), 1)), item->sizeHint().height());
            if (item->alignment() & Qt::AlignRight)
                x = std::max(x, area.right() + 1 - (width - (x - area.left())));
            if (apply)
                item->setGeometry({QPoint(x, y + (height - hint.height()) / 2), hint});
            x += hint.width() + spacing();
        }
        if (!row.isEmpty())
            y += height + spacing();
    }
    return std::max(0, y - spacing() - area.top()) + margins.top() + margins.bottom();
}
