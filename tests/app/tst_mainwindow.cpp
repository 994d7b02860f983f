#include "data/norvexdata.h"
#include "display/plot/arcplotdisplay.h"
#include "display/sensors/dataobjectwidget.h"
#include "display/sensors/sessionform.h"
#include "session/session.h"
#include "simulator/sensorsimulator.h"
#include "support/windowparts.h"

#include <QAction>
#include <QComboBox>
#include <QDialog>
#include <QLabel>
#include <QMenu>
#include <QPushButton>
#include <QScreen>
#include <QSemaphore>
#include <QStatusBar>
#include <QThreadPool>
#include <QtTest>

#include <algorithm>

namespace {

const QString host = QStringLiteral("127.0.0.1");
constexpr int patience = 20000;

} // namespace

class TestMainWindow : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();
    void startsWithoutASession();
    void whatCannotBeLoadedLeavesTheOpenSession_data();
    void whatCannotBeLoadedLeavesTheOpenSession();
    void deeperRecovery();
    void sessionsAreCreatedAndReopened();
    void settingsThatMakeNoSense();
    void theWindowIsOnTheScreen_data();
    void theWindowIsOnTheScreen();
    void aDiskThatDoesNotAnswer();
    void recentSessions();
    void theListOfRecentSessionsShrinks();
    void viewButtons();
    void recordsAndReopensWithEverythingInPlace();
    void closingWhileRecordingAsksOnce();
    void closingTellsOfAFailedSave();
    void removingASensorWithItsMenuOpen();
    void commandsWithoutADisplayedSensor();
    void everySensorSwitchedOff();
    void commandsActOnTheChosenSensor();
    void theGuide();
    void theRateOfRecording();

private:
    QString folder(const QString &name) const { return m_parts->folder(name); }
    QString newSession(const QString &name) const;
    void click(const char *action) const { m_window->findChild<QAction *>(QLatin1String(action))->trigger(); }
    std::unique_ptr<SensorSimulator> startSensor(const QString &serial) const;
    quint64 samplesOf(const QString &serial) const;

    std::unique_ptr<WindowParts> m_parts;
    std::unique_ptr<MainWindow> m_window;
};

void TestMainWindow::init()
{
    m_parts = std::make_unique<WindowParts>();
    m_window = m_parts->openWindow();
}

void TestMainWindow::cleanup()
{
    m_window.reset();
}

QString TestMainWindow::newSession(const QString &name) const
{
    const auto session = Session::create(folder(name), nullptr);
    return session && session->save() ? session->path() : QString();
}

std::unique_ptr<SensorSimulator> TestMainWindow::startSensor(const QString &serial) const
{
    SimulatorOptions options;
    options.serial = serial;
    options.rate = 500;
    auto sensor = std::make_unique<SensorSimulator>(options);
    return sensor->start() ? std::move(sensor) : nullptr;
}

quint64 TestMainWindow::samplesOf(const QString &serial) const
{
    const dataObjectWidget *card = m_window->form()->card(serial);
    return card ? card->store()->sampleCount() : 0;
}

void TestMainWindow::startsWithoutASession()
{
    QCOMPARE(m_window->windowTitle(), QStringLiteral("Norvex - RF Event Detector"));
    m_window->openLastSession();
    QVERIFY(m_window->form());
    QVERIFY(m_window->sessionPath().startsWith(folder(QStringLiteral("new"))));
    QCOMPARE(m_parts->settings.currentSessionPath(), m_window->sessionPath());
    QVERIFY(m_parts->prompts.shown.isEmpty());
}

void TestMainWindow::whatCannotBeLoadedLeavesTheOpenSession_data()
{
    QTest::addColumn<bool>("withFile");
    QTest::addColumn<QString>("text");
    QTest::newRow("no session file") << false
                                     << QStringLiteral("Could not locate file at directory:%1\nFAILED TO LOAD SESSION");
    QTest::newRow("not a session file") << true << QStringLiteral("FAILED TO LOAD SESSION");
}

void TestMainWindow::whatCannotBeLoadedLeavesTheOpenSession()
{
    QFETCH(bool, withFile);
    QFETCH(QString, text);
    const QString good = newSession(QStringLiteral("good"));
    QVERIFY(m_window->openSession(good));
    SessionForm *const form = m_window->form();
    const QString bad = folder(QStringLiteral("bad"));
    QDir().mkpath(bad);
    if (withFile) {
        QFile file(bad + QStringLiteral("/index.norvex_session"));
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write("GIF89a\0\0\0", 9);
    }
    m_parts->prompts.paths = QStringList{bad + QStringLiteral("/index.norvex_session")};
    click("actionLoadSession");
    if (text.contains(QLatin1String("%1")))
        text = text.arg(bad);
    QCOMPARE(m_parts->prompts.takeShown(),
             (QStringList{QStringLiteral("open|Load a session file|Norvex Session file (*.norvex_session *.dat)"),
                          QStringLiteral("warn|FAILED TO LOAD SESSION|") + text}));
    QCOMPARE(m_window->form(), form);
    QCOMPARE(m_parts->settings.currentSessionPath(), good);
}

/// The backup that an interrupted save left cannot be put back. What only the backup knows is there all the same.
void TestMainWindow::deeperRecovery()
{
    const QString path = folder(QStringLiteral("interrupted"));
    const QDir sensor(path + QStringLiteral("/S1-PM1"));
    {
        const auto session = Session::create(path, nullptr);
        const auto store = session->addSensor(QStringLiteral("S1"), QStringLiteral("PM1"), QString(), 80);
        QVector<SamplePoint> samples(20);
        for (int i = 0; i < samples.size(); ++i)
            samples[i].time = 1700000000000000ULL + quint64(i) * 1000;
        EventRecord event;
        event.time = samples.constLast().time;
        event.typeCode = 4;
        QVERIFY(store->addSamples(samples) && store->addEvent(event) && session->save());
    }
    QVERIFY(QFile::rename(sensor.filePath(QStringLiteral("index.dat")),
                          sensor.filePath(QStringLiteral("index.dat.bakup"))));
    QVERIFY(sensor.mkpath(QStringLiteral("index.dat/in the way")));
    QVERIFY(QFile::remove(sensor.filePath(QStringLiteral("Event_1.norvexevent"))));

    QVERIFY(m_window->openSession(path));
    QCOMPARE(
        m_parts->prompts.takeShown(),
        QStringList{QStringLiteral(
            "warn|Error in recovery process|There seems to have been an error in saving data, the recovery process "
            "ran into some trouble that might be caused by file access rights (is your session in a write only "
            "folder ?), or full disk.\n The Norvex software will now launch a deeper recovery program which might "
            "take a while to get done.")});
    QCOMPARE(samplesOf(QStringLiteral("S1")), quint64(20));
    QCOMPARE(m_window->form()->card(QStringLiteral("S1"))->store()->eventCount(), 1);
    QVERIFY(!sensor.exists(QStringLiteral("index.dat.bakup")));
    QVERIFY(m_window->openSession(newSession(QStringLiteral("other"))));
    QVERIFY(m_window->openSession(path));
    QVERIFY(m_parts->prompts.takeShown().isEmpty());
}

void TestMainWindow::sessionsAreCreatedAndReopened()
{
    const QString made = folder(QStringLiteral("made"));
    m_parts->prompts.paths = QStringList{made};
    click("actionCreateSession");
    QCOMPARE(m_parts->prompts.takeShown(), QStringList{QStringLiteral("folder|Create Session|")});
    QCOMPARE(m_window->sessionPath(), made);
    QVERIFY(QFileInfo::exists(made + QStringLiteral("/index.norvex_session")));

    const QString other = newSession(QStringLiteral("myindex.norvex_session.d"));
    QVERIFY(m_window->openSession(other)); // only a whole last name is the session file's
    QCOMPARE(m_window->sessionPath(), other);
    QVERIFY(m_window->openSession(made + QStringLiteral("\\index.norvex_session")));
    QCOMPARE(m_window->sessionPath(), made);
    QVERIFY(m_parts->prompts.shown.isEmpty());

    m_window->form()->plot()->setSpan(30000000);
    m_window->form()->plot()->setTimeMode(TimeMode::Local);
    m_window->changeView(2);
    click("actionDisplayOnly");
    QVERIFY(m_window->close());
    m_window = m_parts->openWindow();
    m_window->openLastSession();
    QCOMPARE(m_window->sessionPath(), made);
    QCOMPARE(m_window->form()->plot()->span(), quint64(30000000));
    QCOMPARE(m_window->form()->plot()->timeMode(), TimeMode::Local);
    QVERIFY(m_window->findChild<QPushButton *>(QStringLiteral("b_view2"))
                ->styleSheet()
                .contains(QStringLiteral("#CCFFCC")));
    QTRY_VERIFY_WITH_TIMEOUT(m_window->form()->isVisible(), patience);
    for (const bool shown : {false, true}) {
        for (const char *part : {"sensorColumn", "commandRow"}) {
            const auto *widget = m_window->form()->findChild<QWidget *>(QLatin1String(part));
            QTRY_COMPARE_WITH_TIMEOUT(widget->visibleRegion().boundingRect().width() > 100, shown, patience);
        }
        click("actionDisplayOnly");
    }
}

void TestMainWindow::settingsThatMakeNoSense()
{
    m_window.reset();
    m_parts->settings.setValue(QStringLiteral("window/view"), 99);
    m_parts->settings.setValue(QStringLiteral("window/geometry"), QByteArray("rubbish"));
    m_parts->settings.setValue(QStringLiteral("form/splitter"), 7);
    m_parts->settings.setValue(QStringLiteral("plot/span"), QStringLiteral("-5 parsecs"));
    m_parts->settings.setValue(QStringLiteral("plot/timeMode"), 12);
    m_parts->settings.setValue(QStringLiteral("plot/leftQuantity"), 1000);
    m_window = m_parts->openWindow();
    QVERIFY(!m_window->testAttribute(Qt::WA_Moved)); // the desktop finds the place
    m_window->openLastSession();
    QVERIFY(m_window->findChild<QPushButton *>(QStringLiteral("b_view0"))
                ->styleSheet()
                .contains(QStringLiteral("#CCFFCC")));
    QCOMPARE(m_window->form()->plot()->span(), quint64(300000000));
    QCOMPARE(m_window->form()->plot()->leftQuantity(), 0);
    QCOMPARE(m_window->form()->plot()->timeMode(), TimeMode::Utc);
}

void TestMainWindow::theWindowIsOnTheScreen_data()
{
    // The screen without a display is 800 x 600, less than the window would like.
    QTest::addColumn<QRect>("remembered");
    QTest::newRow("at the first start") << QRect();
    QTest::newRow("over the edge") << QRect(200, 0, 800, 450);
    QTest::newRow("larger than the screen") << QRect(100, 100, 3000, 2000);
    QTest::newRow("on a screen that is gone") << QRect(5000, -3000, 700, 500);
}

void TestMainWindow::theWindowIsOnTheScreen()
{
    QFETCH(QRect, remembered);
    m_window.reset();
    QWidget before;
    before.setGeometry(remembered);
    if (remembered.isValid())
        m_parts->settings.setValue(QStringLiteral("window/geometry"), before.saveGeometry());
    else
        m_parts->settings.store().remove(QStringLiteral("window/geometry"));
    m_window = m_parts->openWindow();
    m_window->openLastSession();
    const QRect desktop = QGuiApplication::primaryScreen()->virtualGeometry();
    QVERIFY(desktop.contains(m_window->geometry()));
    QVERIFY(m_window->width() >= desktop.width() / 2 && m_window->height() >= desktop.height() / 2);
}

void TestMainWindow::aDiskThatDoesNotAnswer()
{
    const auto label = [this](const QString &name) {
        const QList<QLabel *> labels = m_window->statusBar()->findChildren<QLabel *>();
        const auto found = std::find_if(labels.begin(), labels.end(),
                                        [&name](const QLabel *each) { return each->accessibleName() == name; });
        return found == labels.end() ? QString() : (*found)->text();
    };
    QThreadPool *const pool = QThreadPool::globalInstance();
    static QSemaphore answer; // outlives a failure
    for (int i = 0; i < pool->maxThreadCount(); ++i)
        pool->start([] { answer.acquire(); });
    m_window->openLastSession();
    QTRY_VERIFY_WITH_TIMEOUT(!label(QStringLiteral("Sensors")).isEmpty(), patience); // the window goes on
    QCOMPARE(label(QStringLiteral("Disk")), QString());
    answer.release(pool->maxThreadCount());
    QTRY_VERIFY_WITH_TIMEOUT(label(QStringLiteral("Disk")).contains(QStringLiteral("free")), patience);
}

void TestMainWindow::recentSessions()
{
    QStringList made;
    for (int i = 0; i < 8; ++i) {
        made.prepend(newSession(QStringLiteral("s%1 & co").arg(i)));
        QVERIFY(m_window->openSession(made.first()));
    }
    const auto *menu = m_window->findChild<QMenu *>(QStringLiteral("menuRecentSessions"));
    QCOMPARE(menu->actions().size(), 6);
    QCOMPARE(menu->actions().at(0)->text(),
             QStringLiteral("%1 (current session)").arg(made.at(0)).replace(u'&', QStringLiteral("&&")));
    QVERIFY(!menu->actions().at(0)->isEnabled());
    QVERIFY(menu->actions().at(5)->isEnabled());
    menu->actions().at(5)->trigger();
    QCOMPARE(m_window->sessionPath(), made.at(5));
    QCOMPARE(m_parts->settings.recentSessions().first(), made.at(5));
    QCOMPARE(m_parts->settings.recentSessions().size(), 8);
}

void TestMainWindow::theListOfRecentSessionsShrinks()
{
    const QString gone = newSession(QStringLiteral("gone"));
    QVERIFY(m_window->openSession(gone));
    QVERIFY(m_window->openSession(newSession(QStringLiteral("kept"))));
    m_window.reset();
    QDir(gone).removeRecursively();
    m_window = m_parts->openWindow();
    m_window->openLastSession();
    m_window.reset();
    QCOMPARE(m_parts->settings.recentSessions().size(), 1);
}

void TestMainWindow::viewButtons()
{
    m_window->openLastSession();
    const auto button = [this](int id) {
        return m_window->findChild<QPushButton *>(QStringLiteral("b_view%1").arg(id));
    };
    m_window->form()->plot()->setFollowing(false);
    QVERIFY(!m_window->form()->plot()->isFollowing());
    QTest::keyClick(button(0), Qt::Key_L); // the view's keys, wherever the focus is
    QVERIFY(m_window->form()->plot()->isFollowing());
    QTest::keyClick(button(0), Qt::Key_F12);
    QTest::mouseClick(button(2), Qt::LeftButton);
    for (int id = 0; id < 5; ++id)
        QCOMPARE(button(id)->styleSheet(), id == 2 ? QStringLiteral("background-color: #CCFFCC; color: black;")
                                                   : QStringLiteral("background-color: #D4D4D4; color: black;"));
    QCOMPARE(button(3)->text(), QStringLiteral("Runs Overlay (0000)"));
    m_window->updateOverlayButtons(7, 12345);
    QCOMPARE(button(3)->text(), QStringLiteral("Runs Overlay (0007)"));
    QCOMPARE(button(4)->text(), QStringLiteral("Events Overlay (12345)"));
    QCOMPARE(button(4)->shortcut(), QKeySequence(Qt::CTRL + Qt::Key_5));
}

void TestMainWindow::recordsAndReopensWithEverythingInPlace()
{
    const auto sensor = startSensor(QStringLiteral("SN1"));
    QVERIFY(sensor);
    m_window->openLastSession();
    const QString path = m_window->sessionPath();
    m_window->connectTo(host, sensor->port(), QStringLiteral("Etch <b>1</b>"));
    QTRY_VERIFY_WITH_TIMEOUT(samplesOf(QStringLiteral("SN1")) > 50, patience);
    QCOMPARE(m_window->form()->connectedSensors(), 1);
    const auto labels = m_window->form()->findChildren<QLabel *>();
    const auto voltage = std::find_if(labels.begin(), labels.end(), [](const QLabel *label) {
        return label->accessibleName() == QStringLiteral("Voltage of SN1");
    });
    QVERIFY(voltage != labels.end());
    QTRY_VERIFY2_WITH_TIMEOUT((*voltage)->text() != QStringLiteral("— V"), "numbers follow a quick sensor", patience);
    QCOMPARE(
        m_window->form()->card(QStringLiteral("SN1"))->findChild<QLabel *>(QStringLiteral("chamberId"))->textFormat(),
        Qt::PlainText);
    m_window->form()->card(QStringLiteral("SN1"))->displayToggled();
    QVERIFY(m_window->openSession(newSession(QStringLiteral("other")))); // recording ends with a save
    QVERIFY(m_window->openSession(path));
    QVERIFY(!m_window->form()->card(QStringLiteral("SN1"))->isDisplayOn());
    QVERIFY(!m_window->form()->displayedSensor());
    m_window->form()->card(QStringLiteral("SN1"))->displayToggled();
    QVERIFY(samplesOf(QStringLiteral("SN1")) > 50);
    const quint64 before = samplesOf(QStringLiteral("SN1"));
    QTRY_VERIFY_WITH_TIMEOUT(samplesOf(QStringLiteral("SN1")) > before, patience); // and goes on by itself
    sensor->setPower(false);
    QTRY_COMPARE_WITH_TIMEOUT(m_window->form()->connectedSensors(), 0, patience);
    QVERIFY(m_parts->prompts.shown.isEmpty()); // no box for network trouble
    const quint64 off = samplesOf(QStringLiteral("SN1"));
    sensor->setPower(true);
    QTRY_VERIFY_WITH_TIMEOUT(samplesOf(QStringLiteral("SN1")) > off, patience);
}

void TestMainWindow::closingWhileRecordingAsksOnce()
{
    const auto sensor = startSensor(QStringLiteral("SN1"));
    QVERIFY(sensor);
    m_window->openLastSession();
    const QString path = m_window->sessionPath();
    m_window->connectTo(host, sensor->port(), QStringLiteral("Etch"));
    QTRY_VERIFY_WITH_TIMEOUT(samplesOf(QStringLiteral("SN1")) > 0, patience);
    m_parts->prompts.yes = false;
    QVERIFY(!m_window->close());
    QCOMPARE(m_parts->prompts.takeShown().size(), 1);
    QVERIFY(m_window->form());
    m_parts->prompts.yes = true;
    QVERIFY(m_window->close());
    QCOMPARE(m_parts->prompts.takeShown().size(), 1);
    const auto stored = Session::loadReadOnly(path, nullptr);
    QVERIFY(stored && stored->store(QStringLiteral("SN1")));
    QVERIFY(stored->store(QStringLiteral("SN1"))->sampleCount() > 0);
}

void TestMainWindow::closingTellsOfAFailedSave()
{
    const QString path = folder(QStringLiteral("full"));
    const QDir sensor(path + QStringLiteral("/S1-PM1"));
    {
        const auto session = Session::create(path, nullptr);
        QVERIFY(session->addSensor(QStringLiteral("S1"), QStringLiteral("PM1"), QString(), 80) && session->save());
    }
    QVERIFY(m_window->openSession(path));
    QFile::remove(sensor.filePath(QStringLiteral("index.dat")));
    QVERIFY(sensor.mkpath(QStringLiteral("index.dat/in the way")));
    QVector<SamplePoint> samples(20);
    for (int i = 0; i < samples.size(); ++i)
        samples[i].time = 1700000000000000ULL + quint64(i) * 1000;
    QVERIFY(m_window->form()->card(QStringLiteral("S1"))->store()->addSamples(samples));
    QVERIFY(m_window->close());
    QCOMPARE(m_parts->prompts.takeShown(),
             QStringList{QStringLiteral("warn|Warning|The last save of %1 was not complete.").arg(path)});

    QVERIFY(QDir(sensor.filePath(QStringLiteral("index.dat"))).removeRecursively());
    m_window = m_parts->openWindow();
    QVERIFY(m_window->openSession(path)); // from the journal
    QCOMPARE(samplesOf(QStringLiteral("S1")), quint64(20));
}

void TestMainWindow::removingASensorWithItsMenuOpen()
{
    const auto sensor = startSensor(QStringLiteral("SN1"));
    QVERIFY(sensor);
    m_window->openLastSession();
    m_window->connectTo(host, sensor->port(), QStringLiteral("Etch"));
    QTRY_VERIFY_WITH_TIMEOUT(m_window->form()->card(QStringLiteral("SN1")), patience);
    QPointer<dataObjectWidget> card = m_window->form()->card(QStringLiteral("SN1"));
    card->contextMenu({5, 5});
    auto *menu = card->findChild<QMenu *>();
    QVERIFY(menu->isVisible());
    menu->actions().last()->trigger();
    QTRY_VERIFY(!card);
    QVERIFY(!m_window->form()->displayedSensor());
    QCOMPARE(m_parts->prompts.takeShown().size(), 1);
    QTRY_COMPARE_WITH_TIMEOUT(m_window->form()->connectedSensors(), 0, patience);
}

void TestMainWindow::commandsWithoutADisplayedSensor()
{
    m_window->openLastSession();
    for (const char *name : {"b_export", "b_snapshot", "b_viewSummary", "b_addRuns", "b_addEvents"}) {
        QTest::mouseClick(m_window->form()->findChild<QPushButton *>(QLatin1String(name)), Qt::LeftButton);
        QCOMPARE(m_parts->prompts.takeShown(),
                 QStringList{QStringLiteral("warn|Warning|No sensor is currently being displayed")});
    }
    click("actionExportData");
    QCOMPARE(m_parts->prompts.takeShown().size(), 1);
}

void TestMainWindow::everySensorSwitchedOff()
{
    const QString path = folder(QStringLiteral("two"));
    {
        const auto session = Session::create(path, nullptr);
        QVERIFY(session->addSensor(QStringLiteral("S1"), QStringLiteral("PM1"), QString(), 80));
        QVERIFY(session->addSensor(QStringLiteral("S2"), QStringLiteral("PM2"), QString(), 80));
        QVERIFY(session->save());
    }
    QVERIFY(m_window->openSession(path));
    SessionForm *const form = m_window->form();
    const QStringList serials{QStringLiteral("S1"), QStringLiteral("S2")};
    for (const QString &serial : serials)
        form->card(serial)->displayToggled();
    const auto buttons = form->plot()->findChildren<QPushButton *>();
    const auto offered = [](const QPushButton *button) { return button->text() == QLatin1String("Show All Sensors"); };
    QTRY_VERIFY_WITH_TIMEOUT(std::any_of(buttons.begin(), buttons.end(), offered), patience);
    (*std::find_if(buttons.begin(), buttons.end(), offered))->click();
    for (const QString &serial : serials)
        QVERIFY(form->card(serial)->isDisplayOn());
    QVERIFY(form->findChildren<QDialog *>().isEmpty()); // none to connect to yet another one
}

void TestMainWindow::commandsActOnTheChosenSensor()
{
    const auto first = startSensor(QStringLiteral("SN1"));
    const auto second = startSensor(QString(56, QLatin1Char('W'))); // a name that would push the window wide
    QVERIFY(first && second);
    m_window->openLastSession();
    SessionForm *const form = m_window->form();
    auto *chooser = form->findChild<QComboBox *>(QStringLiteral("cb_displayedSensor"));
    m_window->connectTo(host, first->port(), QStringLiteral("Etch"));
    QTRY_VERIFY_WITH_TIMEOUT(form->displayedSensor(), patience);
    QVERIFY(chooser->isHidden());
    m_window->connectTo(host, second->port(), QString(200, QLatin1Char('W')));
    QTRY_COMPARE_WITH_TIMEOUT(form->displayedSensor()->serial().size(), 56, patience);
    QVERIFY(!chooser->isHidden());
    QCOMPARE(chooser->currentIndex(), 1);
    QTest::keyClick(chooser, Qt::Key_Up);
    QCOMPARE(form->displayedSensor()->serial(), QStringLiteral("SN1"));
    QTRY_VERIFY_WITH_TIMEOUT(samplesOf(QStringLiteral("SN1")) > 0, patience);

    QString exported;
    QTimer::singleShot(0, m_window.get(), [&exported] {
        auto *dialog = qobject_cast<QDialog *>(QApplication::activeModalWidget());
        QVERIFY(dialog);
        if (const auto *who = dialog->findChild<QLabel *>(QStringLiteral("lb_sensor")))
            exported = who->text();
        dialog->reject();
    });
    click("actionExportData"); // without asking for the kind
    QCOMPARE(exported, QStringLiteral("Sensor SN1, chamber Etch"));
    const QSize least = m_window->minimumSizeHint();
    const QSize most(m_window->fontMetrics().averageCharWidth() * 110, m_window->fontMetrics().lineSpacing() * 24);
    QVERIFY2(least.boundedTo(most) == least, // a 1366x768 pixel screen at 200 %
             qPrintable(QStringLiteral("%1x%2").arg(least.width()).arg(least.height())));

    dataObjectWidget *const card = form->card(QStringLiteral("SN1"));
    card->store()->setReanalysis(std::make_shared<norvexData::EventCodes>());
    card->contextMenu({5, 5});
    QVERIFY(card->findChild<QAction *>(QStringLiteral("connectReanalysisFile"))->isChecked());
    QVERIFY(!card->findChild<QAction *>(QStringLiteral("disconnectReanalysisFile"))->isChecked());
}

void TestMainWindow::theGuide()
{
    const QString guide = QCoreApplication::applicationDirPath() + QStringLiteral("/NorvexGuide.pdf");
    click("actionUserGuide");
    if (QFileInfo::exists(guide))
        QVERIFY(m_parts->prompts.takeShown().first().startsWith(QStringLiteral("url|file://")));
    else
        QCOMPARE(m_parts->prompts.takeShown(),
                 QStringList{QStringLiteral("warn|Open User Guide|Unable to find User Guide\n"
                                            "Please check Install Folder.")});
    QTest::ignoreMessage(QtDebugMsg, "URL passed to MainWindow::showHelp():file:///x");
    m_window->showHelp(QUrl(QStringLiteral("file:///x")));
}

void TestMainWindow::theRateOfRecording()
{
    // 1 kB a second, an hour without anything, then 3 kB a second.
    RecordingRate rate;
    double bytes = 0;
    qint64 ms = 1000000;
    const auto record = [&](int seconds, double bytesPerSecond) {
        for (int i = 0; i < seconds; ++i)
            rate.note(ms += 1000, bytes += bytesPerSecond);
        return qRound(rate.bytesPerHour() / 3600);
    };
    QCOMPARE(record(20, 1000), 0);
    QCOMPARE(record(40, 1000), 1000);
    QCOMPARE(record(3600, 0), 0);
    QCOMPARE(record(900, 3000), 3000);
    bytes = 0; // another session
    QCOMPARE(record(20, 500), 0);
    QCOMPARE(record(100, 500), 500);
}

QTEST_MAIN(TestMainWindow)
#include "tst_mainwindow.moc"
