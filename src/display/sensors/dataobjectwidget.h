#pragma once

#include "base/clock.h"
#include "display/sensors/recipestatus.h"
#include "display/sensors/sensorcardpresenter.h"
#include "events/eventtype.h"
#include "recipe/recipe.h"

#include <QColor>
#include <QPointer>
#include <QTimer>
#include <QVector>
#include <QWidget>

#include <memory>

class QAction;
class QMenu;
class AppSettings;
class Prompts;
class arcSensor;
class norvexData;
class reconfigureSensordialog;
namespace Ui {
class dataObjectWidget;
}

/// The card of one sensor: identity, operating frequency, active recipe, connection light, download progress, and the
/// sensor's context menu. It wires the sensor's connection to the displays and owns neither of them. What it says is
/// decided by SensorCardPresenter. GUI thread; lives as long as its sensor belongs to the session.
class dataObjectWidget : public QWidget
{
    Q_OBJECT

public:
    /// `sensor` is nullptr for a sensor that is only loaded from disk. `sessionPath` is the folder of the session that
    /// the sensor belongs to; empty: the one in the settings. `reanalysed`: the display starts with reanalysed data.
    dataObjectWidget(const std::shared_ptr<norvexData> &store, arcSensor *sensor, Prompts &prompts,
                     AppSettings &settings, const QString &sessionPath = QString(), bool reanalysed = false,
                     QWidget *parent = nullptr, const Clock &clock = systemClock());
    ~dataObjectWidget() override;

    const std::shared_ptr<norvexData> &store() const { return m_store; }
    arcSensor *sensor() const { return m_sensor; }
    /// Gives an offline card its connection; the same sensor again changes nothing.
    void setSensor(arcSensor *sensor);

    QString serial() const;
    QString chamber() const;
    /// In legends, lists and plots; the names come from outside and may be long.
    QString shownName() const;
    const QString &sessionPath() const { return m_sessionPath; }
    void setSessionPath(const QString &folder) { m_sessionPath = folder; }
    /// Which of the two display actions is checked.
    void showDataDisplayMode(bool reanalysed);
    QColor colour() const { return m_colour; }
    bool isDisplayOn() const { return m_displayOn; }
    double rfOnThreshold() const { return m_rfOnThreshold; }
    const QVector<eventType> &filter() const { return m_filter; }

signals:
    void doingUpdate(bool running);
    void updateDisplay(quint64 time);
    void switchToRFON();
    void setReanalysisFile(QString file);
    void checkDataDisplayMode();
    void sensorReconnectionRequest(const QString &sensor);
    void sensorRemoveRequest(const QString &sensor);
    void enableDisplay(bool on);
    void connectionChanged(bool connected);
    /// The card needs an engine that belongs to the form: export, import of external data, reanalysis.
    void exportRequested();
    /// Runs should be searched for with it.
    void rfOnThresholdChanged(double volts);
    void importExtDataRequested();
    void reanalysisRequested();
    /// Something went wrong in the background; shown in the problems list, never in a box.
    void problem(const QString &text);
    /// Something that was asked for is done; shown for a while in the status bar.
    void notice(const QString &text);

public slots:
    void setConnectionState(int state);
    void setColor(QColor colour);
    void toggleConnectionIndicator();
    void contextMenu(QPoint position);
    void updateProgressBar(int samplesDone, int samplesTotal, int eventsDone, int eventsTotal);
    void getFilter(QVector<eventType> filter);
    void disconnectSensor();
    void reconnectSensor();
    void removeSensor();
    void updateConfig();
    void updateRecipe();
    void updateUiFreq(qint32 freq_hz);
    void configureSensor();
    void sensorConfigUpdated();
    void displayToggled();
    void reanalyseData();
    void setRFONThreshold();
    void makeImportExtDataVisible();
    void connectReanalysisFile();
    void disconnectReanalysisFile();
    void triggerSensorDataClear();
    void unloadData();
    void loadRecipe();
    void loadRecentlyUsedRecipe();
    void postRecipe(const Recipe &recipe);
    void exportData();

protected:
    void mouseDoubleClickEvent(QMouseEvent *event) override;

private:
    void buildMenu();
    void fillRecipeMenu();
    void updateActions();
    void refreshTexts();
    void showLight(const QString &image);
    void showProgress(int value);
    void showDisplayStyle();
    void sensorStatus(const QString &message);
    void uploadFinished(int kind, bool ok, const QString &reason);
    void recipePosted(PostedRecipe::State state, const QString &reason = QString());
    void recipesLost();
    void showRecipe();
    bool loadAndPost(const QString &path);

    std::unique_ptr<Ui::dataObjectWidget> ui;
    std::shared_ptr<norvexData> m_store;
    QPointer<arcSensor> m_sensor;
    Prompts &m_prompts;
    AppSettings &m_settings;
    const Clock &m_clock;
    SensorCardPresenter m_presenter;
    QString m_sessionPath;
    QTimer m_blinkTimer;
    QTimer m_textTimer; // countdown and ages
    QColor m_colour;
    bool m_displayOn = false;
    double m_rfOnThreshold = 200.0;
    QString m_lastProblem;
    QString m_shownLight;
    QVector<eventType> m_filter;
    Recipe m_sensorRecipe; // as the sensor told it last
    PostedRecipe m_posted;
    int m_recipesOnTheirWay = 0;
    bool m_recipeTold = false; // by the sensor, since it is connected

    QMenu *m_menu = nullptr;
    QMenu *m_recipeMenu = nullptr;
    QAction *m_reconnectAction = nullptr;
    QAction *m_configureAction = nullptr;
    QAction *m_disconnectAction = nullptr;
    QAction *m_importAction = nullptr;
    QAction *m_reanalyseAction = nullptr;
    QAction *m_reanalysisDisplayAction = nullptr;
    QAction *m_originalDisplayAction = nullptr;
    QAction *m_loadAction = nullptr;
    QAction *m_clearAction = nullptr;
    QAction *m_removeAction = nullptr;
};
