#pragma once

#include "recipe/recipe.h"

#include <QHash>
#include <QHeaderView>
#include <QStringList>

class QTableWidget;

/// The rows of the recipe editor's table: one for each step, under fixed column labels.
namespace steptable {

/// Replaces the rows. A step with broken rules gets a warning icon and the rules as its tool tip.
void fill(QTableWidget &table, const Recipe &recipe, const QHash<int, QStringList> &broken);
void setColumnLabels(QTableWidget &table);

} // namespace steptable

/// Row labels with the row's number behind the label's text.
class StepHeader : public QHeaderView
{
    Q_OBJECT

public:
    explicit StepHeader(QWidget *parent);

protected:
    void paintSection(QPainter *painter, const QRect &rect, int logicalIndex) const override;
    QSize sectionSizeFromContents(int logicalIndex) const override;
};
