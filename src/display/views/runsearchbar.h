#pragma once

#include <QWidget>

class QDoubleSpinBox;
class QLabel;
class QProgressBar;
class QPushButton;
class RunSearcher;

/// The search for runs above another RF-ON threshold as a row of controls: threshold, start, progress with Cancel, what
/// was found, and back to the stored runs. Child of a view; the searcher outlives it.
class RunSearchBar : public QWidget
{
    Q_OBJECT

public:
    explicit RunSearchBar(RunSearcher &searcher, QWidget *parent = nullptr);

private:
    void showState();

    RunSearcher &m_searcher;
    QDoubleSpinBox *m_threshold;
    QPushButton *m_search;
    QPushButton *m_cancel;
    QPushButton *m_drop;
    QProgressBar *m_bar;
    QLabel *m_text;
};
