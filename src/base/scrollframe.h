#pragma once

#include <QScrollArea>

/// Gives its content the room there is, and scroll bars when that is less than the content can do with: on a small
/// screen everything is still reached. Unlike its base class it asks the content for the least height at a width, so
/// rows that wrap do not bring scroll bars by themselves. GUI thread; it owns the content.
class ScrollFrame : public QScrollArea
{
    Q_OBJECT

public:
    explicit ScrollFrame(QWidget *content, QWidget *parent = nullptr);

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

protected:
    void resizeEvent(QResizeEvent *event) override;
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    QSize leastOf(int width) const;
    void fit();
    void fitOnce();
};
