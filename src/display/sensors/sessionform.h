#pragma once

#include "display/look/displaycontext.h"
#include "events/eventtype.h"
#include "sensor/sensordialog.h"

#include <QTimer>
#include <QVector>
#include <QWidget>

#include <memory>

enum class ExportKind;
class LiveNumbers;
class QVBoxLayout;
class SensorChooser;
class SessionViews;
class arcPlotDisplay;
class arcSensor;
class dataObjectWidget;
namespace Ui {
class SessionForm;
}

/// The central widget of an open session: a column with a card for each sensor, the displays beside it, and the command
/// buttons. It wires sensors, cards and displays; recording, storage and export are done elsewhere. GUI thread; made
/// for one session and deleted before it.
class SessionForm : public QWidget
{
    Q_OBJECT

public:
    explicit SessionForm(const DisplayContext &context, QWidget *parent = nullptr);
    ~SessionForm() override;

    /// A page of the views by its number, the first five by those of their buttons. The live view follows then.
    void showView(int view);
    /// Gives the display the room of the sensor column and of the command buttons.
    void setDisplayOnly(bool only);

    arcPlotDisplay *plot() const { return m_plot; }
    SessionViews &views() { return *m_views; }
    dataObjectWidget *card(const QString &serial) const;
    /// The sensor whose display was switched on last and still is; nullptr when none is displayed.
    dataObjectWidget *displayedSensor() const;
    int connectedSensors() const;
    /// Keeps the splitter, the span, the quantities, the time mode and which sensors are switched off in the settings
    /// for the next session.
    void keepState() const;
    /// The session goes on in another folder.
    void setSessionPath(const QString &folder);
    /// Gives every card the connection that its sensor has in the recorder by now, answered or not.
    void attachConnections();

signals:
    void overlayTableUpdated(int runs, int events);
    void setCurrentDisplayWindow(unsigned int display, quint64 from, quint64 to);
    void sensorReconnectSuccessful(const QString &sensor);
    void sensorRemoved(const QString &sensor);
    /// A view asked for another one, by the number that showView() takes.
    void viewRequested(int view);
    /// Shown in the status bar and counted, never in a box.
    void problem(const QString &text);
    /// Something that was asked for is done; shown for a while in the status bar.
    void notice(const QString &text);

public slots:
    void addSensor();
    void enableDisplays(bool on);
    void reconnectSensor(const QString &sensor);
    void finishSensorReconnection(const QString &sensor);
    void removeSensor(const QString &sensor);
    void removeSensorWidget(const QString &sensor);
    void setUpdateTimer(bool running);
    void refreshDisplays(quint64 time);
    void switchSavedDataViewMode(const QString &file);
    void setCurrentFilter(QVector<eventType> filter);
    void typeDictionaryUpdated();
    void plotWindowSelected(quint64 from, quint64 to);
    void yieldPlotView();
    void returnToNormalView();
    void exportData();
    void exportDisplayed(); // its CSV files, without asking for the kind first
    void triggerSnapshotEvent();
    void viewSummaryButtonPressed();
    void addVisibleRunsToOverlayTable();
    void addVisibleEventsToOverlayTable();

private:
    void restoreState();
    QColor keptColour(const QString &serial) const;
    void addCard(const QString &serial);
    void sensorReady(arcSensor *sensor, const QString &serial);
    void showEmptyState();
    void fillEmptyPlot();
    void announceSensors();
    void showChooser();
    void chooseDisplayed(const QString &serial);
    SensorDialog::Surroundings dialogSurroundings() const;
    void openSensorDialog(SensorDialog *dialog);
    void startRecording(const QString &serial, const QString &address, quint16 port, const QString &chamber);
    void exportStore(dataObjectWidget *card, ExportKind kind);
    void exportImage();
    bool warnWithoutDisplay();
    void onDisplayedCard(void (dataObjectWidget::*command)());
    void tick();

    DisplayContext m_context;
    std::unique_ptr<Ui::SessionForm> ui;
    arcPlotDisplay *m_plot = nullptr;
    LiveNumbers *m_numbers = nullptr;
    SessionViews *m_views = nullptr;
    SensorChooser *m_chooser = nullptr;
    QVBoxLayout *m_cardLayout = nullptr;
    QVector<dataObjectWidget *> m_cards;
    QVector<dataObjectWidget *> m_displayed; // in the order in which they were switched on
    QTimer m_refreshTimer;
    bool m_dirty = false;
};
