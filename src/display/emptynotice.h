#pragma once

#include <QWidget>

class QLabel;
class QPushButton;
class Theme;

/// What a view without content says: what, why and what next, with at most one button. It covers the widget that it is
/// given and follows its size. GUI thread.
class EmptyNotice : public QWidget
{
    Q_OBJECT

public:
    explicit EmptyNotice(QWidget *over);

    /// An empty text hides it.
    void show(const QString &text, const QString &button, const Theme &theme);
    using QWidget::show;
    QString text() const;

signals:
    void buttonClicked();

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    QLabel *m_label;
    QPushButton *m_button;
};
