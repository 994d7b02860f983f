#pragma once

#include "recipe/timelinelayout.h"

#include <QSet>
#include <QWidget>

/// A recipe drawn over time: its steps to scale with their names, the RF frequency and the pulse threshold of each. The
/// chosen step stands out, a click chooses one, a step that breaks a rule is marked. Colours come from the palette.
class RecipeTimeline : public QWidget
{
    Q_OBJECT

public:
    explicit RecipeTimeline(QWidget *parent = nullptr);

    void setRecipe(const Recipe &recipe);
    void setCurrentStep(int step);
    void setBrokenSteps(const QSet<int> &steps);

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

signals:
    void stepClicked(int step);

protected:
    void paintEvent(QPaintEvent *event) override;
    void mousePressEvent(QMouseEvent *event) override;
    bool event(QEvent *event) override;

private:
    struct Lanes
    {
        QRectF names;
        QRectF frequency;
        QRectF threshold;
        QRectF ticks;
    };

    Lanes lanes() const;
    int gutter() const;
    QRectF across(const QRectF &lane, const timelinelayout::Step &step) const;
    int stepAt(const QPoint &point) const;
    QString tip(int step) const;
    void paintSteps(QPainter &painter, const Lanes &lanes) const;
    void paintFrequency(QPainter &painter, const QRectF &lane) const;
    void paintThreshold(QPainter &painter, const QRectF &lane) const;
    void paintScales(QPainter &painter, const Lanes &lanes) const;

    Recipe m_recipe;
    timelinelayout::Layout m_layout;
    QSet<int> m_broken;
    int m_current = -1;
};
