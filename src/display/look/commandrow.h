#pragma once

#include <QVector>
#include <QWidget>

class QAbstractButton;
class QPushButton;

/// A row of commands that never takes a second line: buttons for which there is no room are offered in a menu at its
/// end. What is no button always has its place. GUI thread; owns what is added.
class CommandRow : public QWidget
{
    Q_OBJECT

public:
    explicit CommandRow(QWidget *parent = nullptr);

    void addWidget(QWidget *widget);

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

protected:
    void resizeEvent(QResizeEvent *event) override;
    bool event(QEvent *event) override;

private:
    bool isWanted(const QWidget *widget) const;
    int widthOf(bool buttons) const;
    int heightOfRow() const;
    void arrange();
    void fillMenu();

    QVector<QWidget *> m_widgets;
    QVector<QAbstractButton *> m_inMenu;
    QPushButton *m_more;
};
