#include "display/views/typelegend.h"

#include "display/look/flowlayout.h"
#include "display/look/theme.h"

#include <QPainter>
#include <QToolButton>

namespace {

QIcon swatch(const QColor &colour, bool filled, int side, double ratio)
{
    QPixmap pixmap(QSize(side, side) * ratio);
    pixmap.setDevicePixelRatio(ratio);
    pixmap.fill(Qt::transparent);
    QPainter painter(&pixmap);
    painter.setPen(QPen(colour, 1.5));
    painter.setBrush(filled ? QBrush(colour) : QBrush(Qt::NoBrush));
    painter.drawRect(QRectF(2, 2, side - 4, side - 4));
    return QIcon(pixmap);
}

} // namespace

TypeLegend::TypeLegend(QWidget *parent) : QWidget(parent)
{
    auto *layout = new FlowLayout(this, 4);
    layout->setContentsMargins(4, 0, 4, 0);
    QSizePolicy policy(QSizePolicy::Preferred, QSizePolicy::Minimum);
    policy.setHeightForWidth(true);
    setSizePolicy(policy);
}

void TypeLegend::show(const QVector<Entry> &entries, const Theme &theme)
{
    if (entries == m_entries && theme.isDark() == m_dark)
        return;
    m_entries = entries;
    m_dark = theme.isDark();
    auto buttons = findChildren<QToolButton *>(QString(), Qt::FindDirectChildrenOnly);
    while (buttons.size() < entries.size()) {
        auto *button = new QToolButton(this);
        button->setObjectName(QStringLiteral("typeLegendEntry"));
        button->setAutoRaise(true);
        button->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
        const int place = buttons.size();
        connect(button, &QToolButton::clicked, this, [this, place] {
            const Entry entry = m_entries.value(place);
            emit toggled(entry.name, !entry.shown);
        });
        layout()->addWidget(button);
        buttons.append(button);
    }
    const int side = fontMetrics().height() * 3 / 4;
    for (int i = 0; i < buttons.size(); ++i) {
        QToolButton *button = buttons[i];
        button->setVisible(i < entries.size());
        if (i >= entries.size())
            continue;
        const Entry &entry = entries[i];
        QString name = entry.text;
        button->setIconSize(QSize(side, side));
        button->setIcon(swatch(entry.colour, entry.shown, side, devicePixelRatioF()));
        button->setText(
            QStringLiteral("%1 %2").arg(name.replace(QLatin1Char('&'), QLatin1String("&&"))).arg(entry.count));
        button->setAccessibleName(
            tr("%1, %2, %3").arg(entry.text).arg(entry.count).arg(entry.shown ? tr("shown") : tr("hidden")));
        button->setToolTip(
            (entry.shown ? tr("Hide %1 in every view") : tr("Show %1 in every view")).arg(entry.text.toHtmlEscaped()));
        // A style sheet takes no colour from the palette.
        button->setStyleSheet(QStringLiteral("QToolButton { border: none; padding: 1px 4px; background: transparent; "
                                             "color: %1; }"
                                             "QToolButton:hover, QToolButton:focus { text-decoration: underline; }")
                                  .arg((entry.shown ? theme.text() : theme.mutedText()).name()));
    }
    updateGeometry();
}
