#pragma once

#include "display/look/displaycontext.h"

#include <QWidget>

class SessionRecords;
class QToolButton;
class eventFilterPanel;

/// The event filter below the sensor cards: folded to one line that says how many types are hidden, or open with a box
/// for each name. GUI thread.
class EventFilterBox : public QWidget
{
    Q_OBJECT

public:
    EventFilterBox(const DisplayContext &context, const SessionRecords &records, QWidget *parent = nullptr);

private:
    void fold(bool open);
    void showTitle();
    void showCounts();
    void editTypes();

    DisplayContext m_context;
    const SessionRecords &m_records;
    QString m_activity;
    QToolButton *m_title = nullptr;
    eventFilterPanel *m_panel = nullptr;
};
