#pragma once

#include <QObject>

class QDialog;

/// Keeps the dialogs of the program on the screen: one that wants more than there is room for scrolls, with its buttons
/// below, instead of hanging over the edge. It watches the application's events; the toolkit's own boxes and choosers
/// stay as they are. GUI thread; one for the program.
class ScreenFit : public QObject
{
    Q_OBJECT

public:
    explicit ScreenFit(QObject *parent = nullptr);

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    static void fit(QDialog &dialog);
};
