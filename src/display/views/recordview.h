#pragma once

#include "display/records/sessionview.h"
#include "display/views/recordmodel.h"

#include <QSet>

class QPushButton;
class RecordPanel;
class arcPlotDisplay;

/// What the views of runs and of events share: the list beside the details of what is chosen in it, the steps to its
/// neighbours, the wish to show what is not in the list yet, and the reason why a list is empty. GUI thread.
class RecordView : public SessionView
{
    Q_OBJECT

public:
    RecordView(const DisplayContext &context, SessionSelection &selection, SessionRecords &records, QWidget *parent);

    void setSensors(const QVector<ViewSensor> &sensors) override;
    void refresh() override;
    TimeRange rangeInView() const override;

protected:
    /// The name of the view in the settings, and what an empty list says.
    struct Words
    {
        QString name;
        QString noSensor;
        QString reading;
    };

    void keyPressEvent(QKeyEvent *event) override;

    /// The two buttons of the details; before layOut().
    void makeSteps(const QString &previousTip, const QString &nextTip);
    /// Places the list and the details and follows records and selection. Once, when the view is made.
    void layOut(RecordModel *model, RecordPanel *panel, QWidget *details, const Words &words);
    /// A plot of the details, in which N and P step, too.
    void followKeys(arcPlotDisplay *plot);

    void showRecords();
    void showReason();
    void chooseWanted();
    void enableSteps(int row);
    QVector<RecordKey> selectedKeys() const;

    /// Types that the event filter hides.
    QSet<QString> hiddenTypes() const;

    /// The plot that follows what is stored.
    virtual arcPlotDisplay *samplesPlot() const = 0;
    virtual bool isStored(const RecordSet &records, const RecordKey &key) const = 0;
    /// What the list shows: the records, or what stands in their place.
    virtual const QVector<SessionRecords::Sensor> &listed() { return m_records.sensors(); }
    /// Why there is no row although everything was read; may take the button away.
    virtual QString emptyText(QString *button) const = 0;
    /// Names of events came.
    virtual void showTypes() {}
    virtual void showChosen() = 0;

    SessionRecords &m_records;
    RecordPanel *m_panel = nullptr;
    QPushButton *m_previous = nullptr;
    QPushButton *m_next = nullptr;
    RecordKey m_wanted; // to be chosen as soon as it is in the list
    RecordKey m_shown;

private:
    RecordModel *m_list = nullptr;
    Words m_words;
    bool m_stale = true; // the records changed while the view was hidden
};
