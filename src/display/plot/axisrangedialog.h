#pragma once

#include "display/plot/timeaxis.h"
#include "display/plot/valueaxis.h"

#include <QDialog>

class QDateTimeEdit;
class QDialogButtonBox;
class QLabel;
class QLineEdit;

/// Sets the range of a value axis by numbers, or makes it automatic again.
class ValueRangeDialog : public QDialog
{
    Q_OBJECT

public:
    ValueRangeDialog(const QString &name, const QString &unit, const ValueSpan &span, QWidget *parent);

signals:
    void chosen(const ValueSpan &span);
    void automaticChosen();

private:
    void check();

    QLineEdit *m_low;
    QLineEdit *m_high;
    QLabel *m_reason;
    QDialogButtonBox *m_buttons;
};

/// Sets the visible time. The zone of its editors is written beside them.
class TimeRangeDialog : public QDialog
{
    Q_OBJECT

public:
    TimeRangeDialog(const TimeAxis &axis, const TimeRange &range, QWidget *parent);

signals:
    void chosen(const TimeRange &range);

private:
    void check();
    TimeRange range() const;

    QDateTimeEdit *m_from;
    QDateTimeEdit *m_to;
    QLabel *m_reason;
    QDialogButtonBox *m_buttons;
};
