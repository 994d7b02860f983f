#pragma once

#include <QLabel>

/// A one-line label that gives way when it is narrow: the text is cut with an ellipsis and stands in full in the
/// tooltip. Always plain text, because much of it comes from sensors.
class ElidedLabel : public QLabel
{
    Q_OBJECT

public:
    explicit ElidedLabel(QWidget *parent = nullptr);

    void setElideMode(Qt::TextElideMode mode);
    QSize minimumSizeHint() const override;

protected:
    void paintEvent(QPaintEvent *event) override;
    bool event(QEvent *event) override;

private:
    bool isCut() const;

    Qt::TextElideMode m_mode = Qt::ElideRight;
};
