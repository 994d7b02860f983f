#include "recipe/steptable.h"

#include "base/plaintip.h"
#include "recipe/stepfields.h"

#include <QCoreApplication>
#include <QPainter>
#include <QStyle>
#include <QTableWidget>

namespace {

constexpr int shownFields = 10; // the first of stepFields()

QString columnLabel(int field)
{
    static const char *const labels[shownFields] = {"Duration[s]", "Frequency[Hz]", "Skip time[s]", "Threshold[V]",
                                                    "MEL1[µs]",    "MEL2[µs]",      "MEL3[µs]",     "MEA1[%]",
                                                    "MEA2[%]",     "MEA3[%]"};
    return QCoreApplication::translate("steptable", labels[field]);
}

} // namespace

void steptable::setColumnLabels(QTableWidget &table)
{
    QStringList labels{QCoreApplication::translate("steptable", "Name")};
    for (int i = 0; i < shownFields; ++i)
        labels.append(columnLabel(i));
    table.setColumnCount(labels.size());
    table.setHorizontalHeaderLabels(labels);
}

void steptable::fill(QTableWidget &table, const Recipe &recipe, const QHash<int, QStringList> &broken)
{
    const QIcon warning = table.style()->standardIcon(QStyle::SP_MessageBoxWarning);
    table.setRowCount(recipe.numberOfSteps());
    for (int row = 0; row < recipe.numberOfSteps(); ++row) {
        table.setVerticalHeaderItem(row, new QTableWidgetItem(QCoreApplication::translate("steptable", "Step")));
        const QString tip = broken.value(row).join(QLatin1Char('\n'));
        const auto put = [&](int column, const QString &text, Qt::Alignment alignment) {
            auto *item = new QTableWidgetItem(text);
            item->setTextAlignment(int(alignment | Qt::AlignVCenter));
            item->setToolTip(plainTip(tip.isEmpty() && column == 0 ? text : tip));
            if (column == 0 && !tip.isEmpty())
                item->setIcon(warning);
            table.setItem(row, column, item);
        };
        put(0, recipe.stepName(row), Qt::AlignLeft);
        for (int i = 0; i < shownFields; ++i)
            put(i + 1, QString::number(stepFields()[std::size_t(i)].value(recipe, row)), Qt::AlignRight);
    }
    setColumnLabels(table);
}

StepHeader::StepHeader(QWidget *parent) : QHeaderView(Qt::Vertical, parent)
{
    setSectionResizeMode(QHeaderView::Fixed);
    setSectionsClickable(true);
    setHighlightSections(false);
}

QSize StepHeader::sectionSizeFromContents(int logicalIndex) const
{
    QSize size = QHeaderView::sectionSizeFromContents(logicalIndex);
    size.rwidth() += fontMetrics().horizontalAdvance(QStringLiteral("  40 "));
    return size;
}

void StepHeader::paintSection(QPainter *painter, const QRect &rect, int logicalIndex) const
{
    painter->save();
    QHeaderView::paintSection(painter, rect, logicalIndex);
    painter->restore();
    const int margin = fontMetrics().averageCharWidth();
    painter->setPen(isEnabled() ? QColor(0x1c1e21) : QColor(0x6b7178)); // on the sheet's light background
    painter->drawText(rect.adjusted(0, 0, -margin, 0), Qt::AlignRight | Qt::AlignVCenter,
                      QString::number(logicalIndex + 1));
}
