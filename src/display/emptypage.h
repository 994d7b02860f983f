#pragma once

#include <QWidget>

class QLabel;
class QPushButton;

/// What stands where there is nothing to show: what, why and what next, with at most one button.
class EmptyPage : public QWidget
{
    Q_OBJECT

public:
    explicit EmptyPage(QWidget *parent = nullptr);

    void show(const QString &text, const QString &button = QString());
    using QWidget::show;

signals:
    void pressed();

private:
    QLabel *m_text;
    QPushButton *m_button;
};
