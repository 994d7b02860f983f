#pragma once

#include <QScrollArea>

/// Widgets in rows that wrap. A few rows are in view and the rest is scrolled to, so that many of them leave room for
/// what stands beside the area. GUI thread; owns what is added.
class RowsArea : public QScrollArea
{
    Q_OBJECT

public:
    RowsArea(int mostRows, int spacing, QWidget *parent = nullptr);

    /// All rows are in view, as in a picture.
    void showAllRows();

    bool hasHeightForWidth() const override { return true; }
    int heightForWidth(int width) const override;
    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

protected:
    /// What the widgets stand on.
    QWidget *page() const { return widget(); }
    void resizeEvent(QResizeEvent *event) override;
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    int m_mostRows;
};
