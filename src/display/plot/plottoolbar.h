#pragma once

#include "display/plot/plotmodel.h"

#include <QWidget>

class QButtonGroup;
class QComboBox;
class QToolButton;

/// The row above a plot: quantities of both axes, zoom history, span presets, follow and the time mode. It shows the
/// model's state and says what was chosen; it changes nothing itself.
class PlotToolBar : public QWidget
{
    Q_OBJECT

public:
    struct Preset
    {
        const char *text;
        quint64 span; // us, 0 for the whole range
    };
    static const std::vector<Preset> &presets();

    explicit PlotToolBar(QWidget *parent = nullptr);

    void show(const PlotModel &model);
    /// Whether the tools of live data are there: spans, following, the time mode of the program.
    void setLive(bool live);
    using QWidget::show;

signals:
    void quantitiesChosen(int left, int right);
    void spanChosen(quint64 span);
    void followChosen(bool follow);
    void timeModeChosen(TimeMode mode);
    void backChosen();
    void forwardChosen();
    void zoomByDragChosen(bool zooms);

protected:
    void changeEvent(QEvent *event) override;

private:
    QComboBox *quantityBox(bool right);
    QToolButton *button(const QString &text, const QString &tip, const char *name);
    void fitFollowButton();
    void chooseQuantities();

    QComboBox *m_quantities[2];
    QToolButton *m_back;
    QToolButton *m_forward;
    QToolButton *m_zoomByDrag;
    QButtonGroup *m_spans;
    QWidget *m_spanBox;
    QToolButton *m_follow;
    QComboBox *m_timeMode;
};
