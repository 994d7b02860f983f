#include "data/norvexdata.h"
#include "display/sensors/dataobjectwidget.h"
#include "recipe/reconfiguresensordialog.h"
#include "sensor/arcsensor.h"
#include "session/appsettings.h"
#include "simulator/sensorsimulator.h"
#include "support/fakeprompts.h"

#include <QDialogButtonBox>
#include <QDoubleSpinBox>
#include <QLabel>
#include <QMenu>
#include <QProgressBar>
#include <QPushButton>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QVBoxLayout>
#include <QtTest>

namespace {

const QString host = QStringLiteral("127.0.0.1");
constexpr int patience = 20000;

QString light(const char *name)
{
    return QStringLiteral("image: url(:/images/Images/light_%1.png);").arg(QLatin1String(name));
}

} // namespace

class TestDataObjectWidget : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();
    void lights();
    void blinksWhileItDownloads();
    void disconnectedAndConnectedAgain();
    void progress();
    void aPageCostsLittle();
    void menuInItsOrder();
    void theTwoDisplaysOfData();
    void displayOnAndOff();
    void theThreshold();
    void importShowsAfterTwoKeys();
    void namesFromTheSensorStayPlain();
    void theFolderOfTheSession();
    void recipesAreAskedForAndRefused();
    void aRecipeIsPostedAndShown();
    void theConfigurationIsPosted();
    void clearingIsAskedFor();

private:
    dataObjectWidget *makeCard(arcSensor *sensor, const QString &serial = QStringLiteral("SN1"),
                               bool reanalysed = false);
    void connectToSimulator();
    template <typename T>
    T *part(const char *name) const
    {
        return m_card->findChild<T *>(QLatin1String(name));
    }
    QString shownLight() const { return part<QLabel>("status")->styleSheet(); }
    QAction *action(const QString &text) const;

    std::unique_ptr<QTemporaryDir> m_folder;
    std::unique_ptr<AppSettings> m_settings;
    FakePrompts m_prompts;
    std::unique_ptr<QWidget> m_window;
    std::unique_ptr<SensorSimulator> m_simulator;
    std::unique_ptr<arcSensor> m_sensor;
    dataObjectWidget *m_card = nullptr;
};

void TestDataObjectWidget::init()
{
    m_folder = std::make_unique<QTemporaryDir>();
    m_settings = std::make_unique<AppSettings>(m_folder->filePath(QStringLiteral("settings.ini")));
    m_settings->setCurrentSessionPath(QStringLiteral("/kept/session"));
    m_prompts = FakePrompts();
    m_window = std::make_unique<QWidget>();
    new QVBoxLayout(m_window.get());
    m_sensor = std::make_unique<arcSensor>(host, 1);
    m_sensor->stop(); // signals are given by hand
    m_card = makeCard(m_sensor.get());
}

void TestDataObjectWidget::cleanup()
{
    m_window.reset();
    m_sensor.reset();
    m_simulator.reset();
}

dataObjectWidget *TestDataObjectWidget::makeCard(arcSensor *sensor, const QString &serial, bool reanalysed)
{
    auto store = std::make_shared<norvexData>();
    store->setSensorSerial(serial);
    store->setChamberSerial(QStringLiteral("Etch 1"));
    auto *card = new dataObjectWidget(store, sensor, m_prompts, *m_settings, QString(), reanalysed);
    m_window->layout()->addWidget(card);
    return card;
}

void TestDataObjectWidget::connectToSimulator()
{
    SimulatorOptions options;
    options.firstPauseMs = 100; // so that the first run is seen to begin
    options.rate = 500;
    m_simulator = std::make_unique<SensorSimulator>(options);
    QVERIFY(m_simulator->start());
    m_simulator->preload(2000, 0);
    LinkTimings timings;
    timings.pollPeriod = 20;
    timings.dispatchInterval = 1;
    m_window.reset();
    m_sensor = std::make_unique<arcSensor>(host, m_simulator->port(), timings);
    m_window = std::make_unique<QWidget>();
    new QVBoxLayout(m_window.get());
    m_card = makeCard(m_sensor.get());
    m_sensor->setStore(m_card->store());
    QTRY_VERIFY_WITH_TIMEOUT(m_sensor->state() > 0, patience);
}

QAction *TestDataObjectWidget::action(const QString &text) const
{
    const QList<QAction *> actions = m_card->findChild<QMenu *>()->actions();
    for (QAction *action : actions) {
        if (action->text() == text)
            return action;
    }
    return nullptr;
}

void TestDataObjectWidget::lights()
{
    QSignalSpy updating(m_card, &dataObjectWidget::doingUpdate);
    QCOMPARE(shownLight(), light("off"));
    emit m_sensor->stateChange(1);
    QCOMPARE(shownLight(), light("on"));
    QVERIFY(m_card->store()->isConnected());
    emit m_sensor->stateChange(0);
    emit m_sensor->stateChange(0);
    QCOMPARE(shownLight(), light("error"));
    QVERIFY(!m_card->store()->isConnected());
    QVERIFY(part<QLabel>("status")->toolTip().contains(QStringLiteral("Connection errors: 2")));
    emit m_sensor->stateChange(1);
    QVERIFY(!part<QLabel>("status")->toolTip().contains(QStringLiteral("errors")));
    QTest::ignoreMessage(QtDebugMsg, "9::CALLING BAD STATE");
    QTest::ignoreMessage(QtDebugMsg, "ACTIVELY DISCONNECTING SENSOR");
    emit m_sensor->stateChange(9);
    QCOMPARE(shownLight(), light("off"));
    QVERIFY(!m_card->store()->isConnected());
    QVERIFY(!updating.isEmpty());
}

void TestDataObjectWidget::blinksWhileItDownloads()
{
    emit m_sensor->stateChange(1);
    emit m_sensor->stateChange(2);
    QCOMPARE(shownLight(), light("on"));
    m_card->toggleConnectionIndicator(); // the first tick sets the phase, the second clears it
    QCOMPARE(shownLight(), light("on"));
    m_card->toggleConnectionIndicator();
    QCOMPARE(shownLight(), light("off"));
    QTRY_COMPARE_WITH_TIMEOUT(shownLight(), light("on"), patience); // and so on by the timer
    emit m_sensor->stateChange(0);
    QTest::qWait(1);
    QCOMPARE(shownLight(), light("error"));
}

void TestDataObjectWidget::disconnectedAndConnectedAgain()
{
    emit m_sensor->stateChange(1);
    emit m_sensor->downloadStatus(20, 50, 0, 0);
    QTest::ignoreMessage(QtDebugMsg, "ACTIVELY DISCONNECTING SENSOR");
    action(QStringLiteral("Disconnect from sensor"))->trigger();
    QCOMPARE(shownLight(), light("off"));
    QCOMPARE(part<QProgressBar>("progressBar")->value(), 0);
    QCOMPARE(part<QLabel>("lb_state")->text(), QStringLiteral("Disconnected"));
    emit m_sensor->statusUpdate(QStringLiteral("Connecting"));
    QCOMPARE(part<QLabel>("lb_state")->text(), QStringLiteral("Connecting"));
    emit m_sensor->stateChange(1); // the state that was shown last before
    QCOMPARE(shownLight(), light("on"));
}

void TestDataObjectWidget::progress()
{
    const auto *bar = part<QProgressBar>("progressBar");
    emit m_sensor->downloadStatus(20, 50, 3, 10);
    QCOMPARE(bar->value(), 40);
    emit m_sensor->downloadStatus(50, 50, 10, 10);
    QCOMPARE(bar->value(), 0);
    QCOMPARE(bar->toolTip(), QStringLiteral("50/50 Samples\n10/10 Events"));
    emit m_sensor->downloadStatus(3, 0, 0, 0);
    QCOMPARE(bar->value(), 0);
    emit m_sensor->downloadStatus(20, 50, 3, 10);
    emit m_sensor->stateChange(1);
    QCOMPARE(bar->value(), 0);
}

/// Many sensors say something at each page: nothing is painted on the spot or styled anew.
void TestDataObjectWidget::aPageCostsLittle()
{
    struct Costs : QObject
    {
        bool eventFilter(QObject *, QEvent *event) override
        {
            count += event->type() == QEvent::Paint || event->type() == QEvent::StyleChange ? 1 : 0;
            return false;
        }
        int count = 0;
    } costs;
    m_window->show();
    QVERIFY(QTest::qWaitForWindowExposed(m_window.get()));
    m_card->setConnectionState(1);
    for (const char *each : {"progressBar", "lb_state"})
        part<QWidget>(each)->installEventFilter(&costs);
    for (int done = 10; done < 100; done += 10) {
        m_card->setConnectionState(2);
        m_card->updateProgressBar(done, 100, 0, 0);
        m_card->setConnectionState(1);
    }
    QCOMPARE(costs.count, 0);
    m_card->setConnectionState(2);
    m_card->updateProgressBar(40, 100, 0, 0);
    QTRY_VERIFY_WITH_TIMEOUT(costs.count > 0, patience); // but it is painted
}

void TestDataObjectWidget::menuInItsOrder()
{
    QStringList texts;
    const QList<QAction *> actions = m_card->findChild<QMenu *>()->actions();
    for (const QAction *action : actions) {
        if (!action->isSeparator() && !action->menu())
            texts.append(action->text());
    }
    QCOMPARE(texts, (QStringList{QStringLiteral("Reconnect Sensor..."), QStringLiteral("Configure..."),
                                 QStringLiteral("Disconnect from sensor"), QStringLiteral("Import Ext Data..."),
                                 QStringLiteral("Reanalyse Event Data"), QStringLiteral("Reanalysis Display"),
                                 QStringLiteral("Original Data Display"), QStringLiteral("Load"),
                                 QStringLiteral("Clear Sensor Data"), QStringLiteral("Remove sensor")}));
    QSignalSpy reconnect(m_card, &dataObjectWidget::sensorReconnectionRequest);
    QSignalSpy removal(m_card, &dataObjectWidget::sensorRemoveRequest);
    action(QStringLiteral("Reconnect Sensor..."))->trigger();
    action(QStringLiteral("Remove sensor"))->trigger();
    QCOMPARE(reconnect.value(0).value(0).toString(), QStringLiteral("SN1"));
    QCOMPARE(removal.value(0).value(0).toString(), QStringLiteral("SN1"));

    m_card = makeCard(nullptr, QStringLiteral("SN2")); // only loaded from disk
    emit m_card->customContextMenuRequested({1, 1});
    QVERIFY(m_card->findChild<QMenu *>()->isVisible());
    for (const char *text : {"Configure...", "Disconnect from sensor", "Load", "Clear Sensor Data"}) {
        QVERIFY(!action(QLatin1String(text))->isEnabled());
        QCOMPARE(action(QLatin1String(text))->toolTip(), QStringLiteral("The sensor is not connected."));
    }
    QVERIFY(action(QStringLiteral("Reconnect Sensor..."))->isEnabled());
}

void TestDataObjectWidget::theTwoDisplaysOfData()
{
    m_card = makeCard(nullptr, QStringLiteral("SN2"), true);
    QAction *const reanalysed = action(QStringLiteral("Reanalysis Display"));
    QAction *const original = action(QStringLiteral("Original Data Display"));
    QVERIFY(reanalysed->isChecked() && !original->isChecked());
    QSignalSpy file(m_card, &dataObjectWidget::setReanalysisFile);
    for (int i = 0; i < 2; ++i) { // choosing what is chosen leaves it chosen
        original->trigger();
        QVERIFY(!reanalysed->isChecked() && original->isChecked());
    }
    reanalysed->trigger();
    QVERIFY(reanalysed->isChecked() && !original->isChecked());
    QVERIFY(file.first().first().toString().isEmpty());
    QVERIFY(file.last().first().toString().endsWith(QStringLiteral("reanalysis.dat")));
}

void TestDataObjectWidget::displayOnAndOff()
{
    QSignalSpy enabled(m_card, qOverload<bool>(&dataObjectWidget::enableDisplay));
    const auto *label = part<QLabel>("sensorId");
    const QString on = QStringLiteral("color: white; background-color: #994455; border-style: outset; "
                                      "border-width: 2px; border-color: grey;");
    const QString off = QStringLiteral("color: black; background-color: white; border-style: outset; "
                                       "border-width: 2px; border-color: grey;");
    m_card->setColor(QColor(0x99, 0x44, 0x55));
    QCOMPARE(label->styleSheet(), on);
    part<QPushButton>("enableDisplay")->click();
    QCOMPARE(label->styleSheet(), off);
    QTest::mouseDClick(m_card, Qt::LeftButton);
    QCOMPARE(label->styleSheet(), on);
    QTest::mouseDClick(m_card, Qt::RightButton);
    QCOMPARE(enabled, (QList<QList<QVariant>>{{false}, {true}}));
}

void TestDataObjectWidget::theThreshold()
{
    QSignalSpy refresh(m_card, &dataObjectWidget::updateDisplay);
    QCOMPARE(m_card->rfOnThreshold(), 200.0);
    m_card->setRFONThreshold(); // cancelled
    QVERIFY(refresh.isEmpty());
    m_prompts.number = 12.5;
    m_card->setRFONThreshold();
    QCOMPARE(m_card->rfOnThreshold(), 12.5);
    QCOMPARE(refresh.value(0).value(0).toULongLong(), 0ULL);
    QCOMPARE(m_prompts.takeShown().last(),
             QStringLiteral("number|Set Rfon Threshold value|Input rfon Threshold value"));
}

void TestDataObjectWidget::importShowsAfterTwoKeys()
{
    dataObjectWidget *const first = m_card;
    m_card = makeCard(nullptr, QStringLiteral("SN2"));
    m_window->show();
    QApplication::setActiveWindow(m_window.get());
    QVERIFY(QTest::qWaitForWindowActive(m_window.get()));
    const auto visible = [this] { return action(QStringLiteral("Import Ext Data..."))->isVisible(); };
    QTest::keyClick(m_window.get(), Qt::Key_T);
    QTest::keyClick(m_window.get(), Qt::Key_I);
    QVERIFY(!visible());
    QTest::keyClick(m_window.get(), Qt::Key_T);
    QTRY_VERIFY(visible()); // in every card
    m_card = first;
    QTRY_VERIFY(visible());
}

void TestDataObjectWidget::namesFromTheSensorStayPlain()
{
    const QString hostile = QStringLiteral("<img src=x onerror=1>&lt;") + QString(300, QLatin1Char('W'));
    m_card = makeCard(nullptr, hostile);
    m_window->resize(280, 400);
    m_window->show();
    QCOMPARE(part<QLabel>("sensorId")->text(), hostile);
    QCOMPARE(part<QLabel>("sensorId")->textFormat(), Qt::PlainText);
    QVERIFY(m_card->minimumSizeHint().width() < 300); // elided, not stretched
}

void TestDataObjectWidget::theFolderOfTheSession()
{
    QCOMPARE(m_card->sessionPath(), QStringLiteral("/kept/session"));
    const dataObjectWidget given(m_card->store(), nullptr, m_prompts, *m_settings, QStringLiteral("/given"));
    QCOMPARE(given.sessionPath(), QStringLiteral("/given"));
}

void TestDataObjectWidget::recipesAreAskedForAndRefused()
{
    connectToSimulator();
    QTRY_VERIFY_WITH_TIMEOUT(m_card->store()->isInsideRun(), patience);
    Recipe recipe;
    recipe.initDefault(2);
    recipe.setFrequency(1, 1);
    m_prompts.yes = false;
    m_card->postRecipe(recipe);
    QCOMPARE(m_prompts.takeShown(),
             QStringList{QStringLiteral("ask|Warning|Do you wish to upload recipe during the current run?")});
    m_prompts.yes = true;
    m_card->postRecipe(recipe);
    const QStringList shown = m_prompts.takeShown();
    QCOMPARE(shown.size(), 2);
    const QRegularExpression refusal(QStringLiteral(
        "^warn\\|Incorrect Frequency\\|One or more of the steps in the recipe has a frequency outside of the sensors "
        "range\\. The sensors frequency range is between \\d+ Hz and \\d+ Hz$"));
    QVERIFY2(refusal.match(shown.last()).hasMatch(), qPrintable(shown.last()));
    m_prompts.during = [this] { m_sensor.reset(); }; // while the question is open
    m_card->postRecipe(recipe);
    QCOMPARE(m_prompts.takeShown().size(), 1);
}

void TestDataObjectWidget::aRecipeIsPostedAndShown()
{
    connectToSimulator();
    Recipe recipe;
    recipe.initDefault(1);
    recipe.setRecipeName(QStringLiteral("Oxide <7>"));
    const QString path = m_folder->filePath(QStringLiteral("oxide.recipe"));
    QVERIFY(recipe.saveToFile(path));
    m_prompts.paths = QStringList{path, m_folder->filePath(QStringLiteral("none.recipe"))};
    action(QStringLiteral("Load"))->trigger();
    QTRY_COMPARE_WITH_TIMEOUT(m_simulator->lastRecipe().recipeName(), recipe.recipeName(), patience);
    QTRY_COMPARE_WITH_TIMEOUT(m_card->store()->recipe().recipeName(), recipe.recipeName(), patience);
    QTRY_VERIFY_WITH_TIMEOUT(part<QLabel>("lb_currentRecipe")->text().contains(recipe.recipeName()), patience);
    QCOMPARE(m_settings->recentRecipes(), QStringList{path});
    m_prompts.takeShown();
    m_card->loadRecipe(); // of a file that is not there
    QCOMPARE(m_prompts.takeShown().size(), 2);
    QFile other(m_folder->filePath(QStringLiteral("other.recipe")));
    QVERIFY(other.open(QIODevice::WriteOnly) && other.write("{\"window\": {\"width\": 3}}") > 0);
    other.close();
    m_prompts.paths = QStringList{other.fileName()};
    m_card->loadRecipe(); // of another program
    QCOMPARE(m_prompts.takeShown().size(), 2);
    QCOMPARE(m_card->store()->recipe().recipeName(), recipe.recipeName());

    m_card->postRecipe(recipe);
    QCOMPARE(part<QLabel>("lb_currentRecipe")->text(), QStringLiteral("Sending Oxide <7>..."));
    m_card->disconnectSensor(); // before the sensor answered
    QCOMPARE(part<QLabel>("lb_currentRecipe")->text(), QStringLiteral("Oxide <7> (Oxide <7> not sent)"));
}

void TestDataObjectWidget::theConfigurationIsPosted()
{
    connectToSimulator();
    const auto press = [this](QDialogButtonBox::StandardButton button) {
        action(QStringLiteral("Configure..."))->trigger();
        auto *dialog = m_card->findChild<reconfigureSensordialog *>();
        QVERIFY(dialog && dialog->isVisible() && dialog->windowModality() == Qt::ApplicationModal);
        QCOMPARE(dialog->windowTitle(), QStringLiteral("Configure Sensor"));
        dialog->findChild<QDoubleSpinBox *>(QStringLiteral("sb_refresh_rate"))->setValue(250);
        dialog->findChild<QDialogButtonBox *>()->button(button)->click();
        QTRY_VERIFY_WITH_TIMEOUT(!m_card->findChild<reconfigureSensordialog *>(), patience);
    };
    QSignalSpy updated(m_sensor.get(), &arcSensor::uploadFinished);
    QSignalSpy told(m_card, &dataObjectWidget::notice);
    press(QDialogButtonBox::Cancel);
    QVERIFY(updated.isEmpty());
    press(QDialogButtonBox::Ok);
    QTRY_COMPARE_WITH_TIMEOUT(m_simulator->lastConfiguration().refreshRate, 250, patience);
    QTRY_COMPARE_WITH_TIMEOUT(m_card->store()->configuration().refreshRate, 250, patience);
    QTRY_COMPARE_WITH_TIMEOUT(told.count(), 1, patience);
}

void TestDataObjectWidget::clearingIsAskedFor()
{
    m_prompts.yes = false;
    m_card->triggerSensorDataClear();
    QCOMPARE(m_prompts.takeShown().size(), 1);
    m_prompts.yes = true;
    QTest::ignoreMessage(QtDebugMsg, "arcSensor::clearData: cleared remaining 0/0 data points");
    m_card->triggerSensorDataClear();
}

QTEST_MAIN(TestDataObjectWidget)
#include "tst_dataobjectwidget.moc"
