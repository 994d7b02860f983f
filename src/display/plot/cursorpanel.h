#pragma once

#include "display/look/theme.h"
#include "display/plot/plotreadout.h"

#include <QWidget>

class QLabel;
class QToolButton;

/// The measurements of the two cursors, below the plot while a cursor is placed. The text can be selected, the button
/// copies it as a table.
class CursorPanel : public QWidget
{
    Q_OBJECT

public:
    explicit CursorPanel(QWidget *parent = nullptr);

    void show(const CursorReadout &readout, const Theme &theme);
    using QWidget::show;

signals:
    void removeChosen();

private:
    QLabel *m_label;
    QToolButton *m_copy;
    QToolButton *m_remove;
    CursorReadout m_readout;
};
