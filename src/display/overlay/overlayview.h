#pragma once

#include "display/overlay/overlaytable.h"
#include "display/records/sessionview.h"

#include <QTimer>

class KeptColumns;
class OverlayPlot;
class OverlaySet;
class QCheckBox;
class QComboBox;
class QLabel;
class QSortFilterProxyModel;
class QTableView;
class QToolButton;

/// Runs or events laid over each other, with the table of what is overlaid beside the plot. The selected rows are drawn
/// in front. GUI thread.
class OverlayView : public SessionView
{
    Q_OBJECT

public:
    OverlayView(OverlayEntry::Kind kind, const DisplayContext &context, SessionSelection &selection, OverlaySet &set,
                QWidget *parent = nullptr);
    ~OverlayView() override;

    void setSensors(const QVector<ViewSensor> &sensors) override;
    void refresh() override;
    void filterChanged() override;
    void setTimeMode(TimeMode mode) override;
    QImage renderImage(qreal scale, Theme::Kind kind) override;

    OverlayPlot &plot() { return *m_plot; }

signals:
    /// What the live plot shows should be added.
    void addRequested();

protected:
    void keyPressEvent(QKeyEvent *event) override;
    void showEvent(QShowEvent *event) override;
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    QWidget *buildToolBar();
    QWidget *buildTable();
    QToolButton *button(const QString &text, const QString &tip, const char *name);
    QCheckBox *checkBox(const QString &text, const QString &tip, const char *name);
    bool isListed(const OverlayEntry &entry) const;
    QVector<int> selectedRows() const;
    void showCurves();
    void selectRow(int row);
    void chooseCurrent();
    void activate(const QModelIndex &index);
    void takeDistances(const QVector<double> &distances);

    const OverlayEntry::Kind m_kind;
    OverlaySet &m_set;
    OverlayTable &m_entries;
    QSortFilterProxyModel *m_proxy;
    OverlayPlot *m_plot;
    QTableView *m_table;
    KeptColumns *m_columns;
    QComboBox *m_quantity;
    QLabel *m_text;
    QCheckBox *m_showCurves;
    QCheckBox *m_showBand;
    QCheckBox *m_bySensor;
    QToolButton *m_remove;
    QToolButton *m_clear;
    QVector<int> m_shownRows; // of the curves in the plot
    bool m_selecting = false;
    bool m_columnsFitted = false;
    QTimer m_showTimer; // several changes are one picture
    int m_waiting = 0;  // rows whose curve is being read
};

class RunsOverlayView : public OverlayView
{
    Q_OBJECT

public:
    RunsOverlayView(const DisplayContext &context, SessionSelection &selection, OverlaySet &set,
                    QWidget *parent = nullptr)
        : OverlayView(OverlayEntry::Run, context, selection, set, parent)
    {}
};

class EventsOverlayView : public OverlayView
{
    Q_OBJECT

public:
    EventsOverlayView(const DisplayContext &context, SessionSelection &selection, OverlaySet &set,
                      QWidget *parent = nullptr)
        : OverlayView(OverlayEntry::Event, context, selection, set, parent)
    {}
};
