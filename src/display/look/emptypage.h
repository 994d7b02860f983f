#pragma once

#include <QWidget>

class QLabel;
class QPushButton;
class Theme;

/// What stands where there is nothing to show: what, why and what next, with at most one button. A page of a stack, or
/// laid over a widget whose size it follows. GUI thread.
class EmptyPage : public QWidget
{
    Q_OBJECT

public:
    explicit EmptyPage(QWidget *parent = nullptr);
    /// Over another widget, in the colours of its plots; hidden until it has something to say. The theme outlives it.
    EmptyPage(QWidget *covered, const Theme &theme);

    /// One that covers a widget is hidden by an empty text.
    void show(const QString &text, const QString &button = QString());
    using QWidget::show;

signals:
    void pressed();

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    void adoptTheme();

    QLabel *m_text;
    QPushButton *m_button;
    const Theme *m_theme = nullptr; // of one that covers
};
