#include "display/plot/legendbar.h"

#include "display/look/lowscreen.h"

#include <QApplication>
#include <QLayout>
#include <QPainter>
#include <QToolButton>

#include <numeric>

namespace {

constexpr int mostRows = 4;
constexpr int mostRowsOnLowScreen = 2;
constexpr int entrySpacing = 4;

QIcon lineIcon(const QPen &pen, const QSize &size, double ratio, bool dimmed)
{
    QPixmap pixmap(size * ratio);
    pixmap.setDevicePixelRatio(ratio);
    pixmap.fill(Qt::transparent);
    QPainter painter(&pixmap);
    painter.setRenderHint(QPainter::Antialiasing);
    QPen thick = pen;
    thick.setWidthF(pen.widthF() + 1.2);
    if (pen.style() == Qt::CustomDashLine) { // two periods, or it looks like a line without gaps
        QVector<qreal> dashes = pen.dashPattern();
        const double period = std::accumulate(dashes.begin(), dashes.end(), 0.0);
        for (qreal &dash : dashes)
            dash *= (size.width() - 7) / (2 * period * thick.widthF());
        thick.setDashPattern(dashes);
    }
    painter.setOpacity(dimmed ? 0.35 : 1.0);
    painter.setPen(thick);
    painter.drawLine(QPointF(1, size.height() / 2.0), QPointF(size.width() - 6, size.height() / 2.0));
    return QIcon(pixmap);
}

} // namespace

LegendBar::LegendBar(QWidget *parent)
    : RowsArea(isLowScreen(QApplication::fontMetrics()) ? mostRowsOnLowScreen : mostRows, entrySpacing, parent)
{
    page()->layout()->setContentsMargins(4, 0, 4, 0);
}

void LegendBar::show(const PlotModel &model, const Theme &theme)
{
    QVector<Entry> entries;
    for (const auto &sensor : model.sensors) {
        for (const auto axis : {PlotView::Left, PlotView::Right}) {
            if (!model.hasAxis(axis) || !sensor->visible)
                continue;
            entries.append({sensor->serial, int(axis),
                            sensor->label + QStringLiteral(" · ") + PlotModel::quantityName(model.quantities[axis]),
                            theme.curvePen(sensor->colour, sensor->number, axis == PlotView::Right),
                            sensor->axisHidden[axis]});
        }
    }
    if (entries == m_entries)
        return;
    m_entries = entries;
    rebuild(theme);
}

void LegendBar::rebuild(const Theme &theme)
{
    const auto old = page()->findChildren<QToolButton *>(QString(), Qt::FindDirectChildrenOnly);
    for (QToolButton *button : old) {
        page()->layout()->removeWidget(button);
        button->hide();
        button->setObjectName(QString());
        button->deleteLater(); // it may be the sender
    }
    const QSize iconSize(fontMetrics().height() * 7 / 4, fontMetrics().height());
    for (const Entry &entry : qAsConst(m_entries)) {
        auto *button = new QToolButton(page());
        button->setObjectName(QStringLiteral("legendEntry"));
        button->setAutoRaise(true);
        button->setCheckable(true);
        button->setChecked(!entry.hidden);
        button->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
        button->setIconSize(iconSize);
        button->setIcon(lineIcon(entry.pen, iconSize, devicePixelRatioF(), entry.hidden));
        QString shown = fontMetrics().elidedText(entry.text, Qt::ElideMiddle, fontMetrics().height() * 22);
        button->setText(shown.replace(QLatin1Char('&'), QLatin1String("&&")));
        button->setToolTip((entry.hidden ? tr("Show %1") : tr("Hide %1")).arg(entry.text.toHtmlEscaped()));
        button->setAccessibleName(entry.text);
        QPalette colours = palette();
        colours.setColor(QPalette::ButtonText, entry.hidden ? theme.frame() : theme.text());
        // A pressed look on every entry would be noise: the line and the ink say it.
        button->setPalette(colours);
        button->setStyleSheet(QStringLiteral("QToolButton { border: none; padding: 1px 4px; background: transparent; }"
                                             "QToolButton:hover, QToolButton:focus { text-decoration: underline; }"));
        connect(button, &QToolButton::clicked, this,
                [this, serial = entry.serial, axis = entry.axis] { emit toggled(serial, axis); });
        page()->layout()->addWidget(button);
        button->show();
    }
    updateGeometry();
}
