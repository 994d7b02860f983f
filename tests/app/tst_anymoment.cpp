#include "cli/programs.h"
#include "data/eventtypelist.h"
#include "data/norvexdata.h"
#include "display/plot/arcplotdisplay.h"
#include "display/plot/axisrangedialog.h"
#include "display/sensors/dataobjectwidget.h"
#include "display/sensors/importtabledialog.h"
#include "display/sensors/sessionform.h"
#include "events/eventtypecreator.h"
#include "export/exportdialog.h"
#include "sensor/sensordialog.h"
#include "session/session.h"
#include "simulator/sensorsimulator.h"
#include "support/windowparts.h"

#include <QDateTimeEdit>
#include <QDialogButtonBox>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QStatusBar>
#include <QToolButton>
#include <QtTest>
#include <qwt_plot.h>
#include <qwt_scale_widget.h>

#include <set>

namespace {

const QString host = QStringLiteral("127.0.0.1");
const QString serial = QStringLiteral("SN1");
constexpr int patience = 20000;
constexpr int longestMs = 5000;

template <typename T>
T *openDialog()
{
    for (QWidget *window : QApplication::topLevelWidgets()) {
        if (auto *dialog = qobject_cast<T *>(window); dialog && dialog->isVisible())
            return dialog;
    }
    return nullptr;
}

} // namespace

/// The user, the network and the system do anything at any moment: nothing crashes, hangs or is lost.
class TestAnyMoment : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();
    void whateverIsOpen_data();
    void whateverIsOpen();
    void aSilentSensorDoesNotHoldTheProgram();
    void aSensorThatWasNeverReachedAgain();
    void exportsAsTheCommandLineDoes_data();
    void exportsAsTheCommandLineDoes();

private:
    void record();
    void bringUp(const QString &state);
    void act(const QString &action);
    QString lost() const;
    QString folder(const QString &name) const { return m_parts->folder(name); }
    dataObjectWidget *card() const { return m_window->form()->card(serial); }

    std::unique_ptr<WindowParts> m_parts;
    std::unique_ptr<SensorSimulator> m_sensor;
    std::unique_ptr<MainWindow> m_window;
    QString m_path; // of the session that is recorded
    QString m_other;
};

void TestAnyMoment::init()
{
    m_parts = std::make_unique<WindowParts>();
    m_other = folder(QStringLiteral("other"));
    QVERIFY(Session::create(m_other, nullptr)->save());

    m_window = m_parts->openWindow();
    record();
}

void TestAnyMoment::cleanup()
{
    m_window.reset();
    m_sensor.reset();
}

void TestAnyMoment::record()
{
    SimulatorOptions options;
    options.serial = serial;
    options.rate = 500;
    options.firstPauseMs = 0;
    m_sensor = std::make_unique<SensorSimulator>(options);
    QVERIFY(m_sensor->start());
    m_sensor->preload(200, 5);
    QVERIFY(m_window->startEmptySession());
    m_path = m_window->sessionPath();
    m_window->connectTo(host, m_sensor->port(), QStringLiteral("Etch"));
    QTRY_VERIFY_WITH_TIMEOUT(card() && card()->store()->sampleCount() > 100, patience);
}

/// What the sensor was allowed to forget and is not on disk.
QString TestAnyMoment::lost() const
{
    const auto session = Session::loadReadOnly(m_path, nullptr);
    const std::shared_ptr<norvexData> store = session ? session->store(serial) : nullptr;
    QVector<SamplePoint> samples;
    if (!store || !store->samplesInRange(0, store->lastTime() + 1, samples))
        return QStringLiteral("the session cannot be read");
    std::set<quint32> stored;
    for (const SamplePoint &sample : samples)
        stored.insert(sampleChecksum(sample));
    int missing = 0;
    for (const LedgerEntry &entry : m_sensor->ledger().samples)
        missing += entry.cleared && stored.count(entry.checksum) == 0 ? 1 : 0;
    return missing == 0 ? QString() : QStringLiteral("%1 samples are lost").arg(missing);
}

void TestAnyMoment::bringUp(const QString &state)
{
    SessionForm *const form = m_window->form();
    if (state == QLatin1String("menu")) {
        card()->contextMenu({5, 5});
    } else if (state == QLatin1String("configuration")) {
        card()->configureSensor();
    } else if (state == QLatin1String("about")) {
        m_window->about();
    } else if (state == QLatin1String("scan") || state == QLatin1String("connecting")) {
        form->addSensor();
        auto *dialog = openDialog<SensorDialog>();
        QVERIFY(dialog);
        dialog->scanner().setAdapters({{QStringLiteral("lo"),
                                        QHostAddress(QHostAddress::LocalHost),
                                        QHostAddress(QHostAddress::LocalHost),
                                        false,
                                        {}}});
        dialog->scanNetwork();
        if (state == QLatin1String("connecting")) {
            dialog->findChild<QLineEdit *>(QStringLiteral("sensorAddress"))->setText(host);
            dialog->findChild<QLineEdit *>(QStringLiteral("sensorPort"))->setText(QStringLiteral("1"));
            dialog->createNewSensor();
        }
    } else if (state == QLatin1String("reconnection")) {
        form->reconnectSensor(serial);
        QVERIFY(openDialog<SensorDialog>());
        openDialog<SensorDialog>()->createNewSensor();
    } else if (state == QLatin1String("export choice")) {
        form->exportData(); // returns when it is closed, as the next ones
    } else if (state == QLatin1String("export dialog")) {
        card()->exportData();
    } else if (state == QLatin1String("reanalysis")) {
        card()->reanalyseData();
    } else if (state == QLatin1String("import")) {
        m_parts->prompts.paths = QStringList{m_path};
        m_window->importData();
    } else if (state == QLatin1String("table import")) {
        QFile table(folder(QStringLiteral("table.csv")));
        QVERIFY(table.open(QIODevice::WriteOnly));
        table.write("time;voltage;current\n2024-03-01 09:00:00.000;1;2\n2024-03-01 09:00:00.010;1;2\n");
        table.close();
        m_parts->prompts.paths = QStringList{table.fileName()};
        emit card()->importExtDataRequested();
    } else if (state == QLatin1String("event types")) {
        form->findChild<QPushButton *>(QStringLiteral("b_types"))->click();
        QVERIFY(openDialog<eventTypeCreator>());
    } else if (state == QLatin1String("axis range") || state == QLatin1String("time range")) {
        const auto axis = state == QLatin1String("axis range") ? QwtPlot::yLeft : QwtPlot::xBottom;
        QWidget *const scale = form->plot()->findChild<QwtPlot *>()->axisWidget(axis);
        QTest::mouseDClick(scale, Qt::LeftButton, Qt::NoModifier, scale->rect().center());
        QVERIFY(axis == QwtPlot::yLeft ? static_cast<QDialog *>(openDialog<ValueRangeDialog>())
                                       : openDialog<TimeRangeDialog>());
    } else if (state == QLatin1String("recipe editor")) {
        m_window->openRecipeWindow();
    } else if (state == QLatin1String("shortcuts")) {
        m_window->showShortcuts();
    } else if (state == QLatin1String("problems")) {
        m_window->statusBar()->findChild<QToolButton *>()->click();
    } else if (state == QLatin1String("number")) {
        card()->setRFONThreshold();
    } else if (state == QLatin1String("question")) {
        form->removeSensor(serial);
    } else if (state == QLatin1String("file chooser")) {
        m_window->loadSession();
    }
}

void TestAnyMoment::act(const QString &action)
{
    if (action.contains(QLatin1String("unplug")))
        m_sensor->setPower(false);
    if (action.contains(QLatin1String("remove")) && !NestedLoop::isAnyRunning())
        m_window->form()->removeSensor(serial);
    if (action.contains(QLatin1String("load")))
        QCOMPARE(m_window->openSession(m_other), !NestedLoop::isAnyRunning());
    if (action.contains(QLatin1String("close")))
        m_window->close();
    if (action.contains(QLatin1String("end")))
        m_window->endNow();
}

void TestAnyMoment::whateverIsOpen_data()
{
    QTest::addColumn<QString>("state");
    QTest::addColumn<QString>("action");
    const auto row = [](const char *state, const char *action) {
        QTest::newRow(qPrintable(QStringLiteral("%1: %2").arg(QLatin1String(state), QLatin1String(action))))
            << QString::fromLatin1(state) << QString::fromLatin1(action);
    };
    for (const char *state : {"menu", "connecting", "reconnection", "export choice", "export dialog", "question",
                              "file chooser", "event types", "time range"})
        row(state, "close, end");
    for (const char *state : {"recipe editor", "reanalysis", "import", "number", "table import"})
        row(state, "unplug, close, end");
    for (const char *state : {"shortcuts", "problems", "axis range", "event types"})
        row(state, "remove, load, end");
    for (const char *state : {"nothing", "menu", "configuration", "about", "reconnection", "export dialog",
                              "table import", "axis range", "event types"})
        row(state, "unplug, load, end");
    for (const char *state : {"configuration", "scan", "reconnection", "time range"})
        row(state, "remove, close, end");
}

void TestAnyMoment::whateverIsOpen()
{
    QFETCH(QString, state);
    QFETCH(QString, action);
    const bool removed = action.contains(QLatin1String("remove"));
    // Boxes and choosers are not really open here; what is done while they are is done from within.
    const bool isBox =
        QStringList{QStringLiteral("question"), QStringLiteral("file chooser"), QStringLiteral("number")}.contains(
            state);
    const bool isNested = state.startsWith(QLatin1String("export")) || state == QLatin1String("reanalysis") ||
                          state == QLatin1String("import") || state == QLatin1String("table import");
    bool once = false;
    m_parts->prompts.during = [&] {
        if (!isBox)
            return;
        if (!std::exchange(once, true))
            act(action);
    };
    QElapsedTimer clock;
    clock.start();
    if (isNested)
        QTimer::singleShot(20, m_window.get(), [&] { act(action); });
    bringUp(state);
    if (m_window->isVisible() && !isNested && !once)
        act(action);
    m_window->endNow();
    QTRY_VERIFY_WITH_TIMEOUT(!m_window->isVisible(), patience);
    QVERIFY2(clock.elapsed() < longestMs, qPrintable(QString::number(clock.elapsed())));
    QVERIFY(!NestedLoop::isAnyRunning());
    QVERIFY(!m_window->form());
    if (!removed && state != QLatin1String("question"))
        QCOMPARE(lost(), QString());
}

void TestAnyMoment::aSilentSensorDoesNotHoldTheProgram()
{
    std::vector<std::unique_ptr<SensorSimulator>> silent;
    for (int i = 0; i < 4; ++i) {
        SimulatorOptions options;
        options.faultPlan = QStringLiteral("all@*=hang");
        silent.push_back(std::make_unique<SensorSimulator>(options));
        QVERIFY(silent.back()->start());
        m_window->connectTo(host, silent.back()->port(), {});
    }
    QTest::qWait(30);
    QElapsedTimer clock;
    clock.start();
    QVERIFY(m_window->close());
    QVERIFY2(clock.elapsed() < longestMs, qPrintable(QString::number(clock.elapsed())));
    QCOMPARE(lost(), QString());
}

/// A sensor of a stored session that does not answer is tried again and again, and its card says so.
void TestAnyMoment::aSensorThatWasNeverReachedAgain()
{
    QVERIFY(m_window->openSession(m_other));
    m_sensor->setPower(false);
    QVERIFY(m_window->openSession(m_path));
    QVERIFY(card()->sensor());
    const auto *word = card()->findChild<QLabel *>(QStringLiteral("lb_state"));
    QTRY_VERIFY_WITH_TIMEOUT(word->text().startsWith(QStringLiteral("Next try in")), patience);
    m_window->form()->reconnectSensor(serial);
    QVERIFY(!card()->sensor()->isOpen()); // the dialog alone asks
    openDialog<SensorDialog>()->discarded();
    QVERIFY(card()->sensor()->isOpen());
    const quint64 before = card()->store()->sampleCount();
    m_sensor->setPower(true);
    QTRY_VERIFY_WITH_TIMEOUT(card()->store()->sampleCount() > before, patience);

    m_window->form()->reconnectSensor(serial);
    auto *dialog = openDialog<SensorDialog>();
    dialog->createNewSensor();
    auto *accept = dialog->findChild<QPushButton *>(QStringLiteral("accept"));
    QTRY_VERIFY_WITH_TIMEOUT(accept->isEnabled(), patience);
    const quint64 held = card()->store()->sampleCount();
    accept->click();
    QTRY_VERIFY_WITH_TIMEOUT(card()->store()->sampleCount() > held, patience);
    m_sensor->setPower(false);
    QTRY_COMPARE_WITH_TIMEOUT(m_window->form()->connectedSensors(), 0, patience);
    m_window->form()->removeSensor(serial); // for good: it does not come back with the power
    m_sensor->setPower(true);
    const qint64 requests = m_sensor->requestCount();
    QTest::qWait(150);
    QCOMPARE(m_sensor->requestCount(), requests);
    QVERIFY(!m_window->form()->card(serial));
}

void TestAnyMoment::exportsAsTheCommandLineDoes_data()
{
    QTest::addColumn<bool>("whole");
    QTest::addColumn<bool>("filtered");
    QTest::newRow("a stretch") << false << false;
    QTest::newRow("the whole recording") << true << false;
    QTest::newRow("a stretch, of some types only") << false << true;
    QTest::newRow("the whole recording, of some types only") << true << true;
}

void TestAnyMoment::exportsAsTheCommandLineDoes()
{
    QFETCH(bool, whole);
    QFETCH(bool, filtered);
    QTRY_VERIFY_WITH_TIMEOUT(card()->store()->sampleCount() > 400 && card()->store()->eventCount() > 2, patience);
    m_sensor->setPower(false); // or there is more to export when the window is closed
    QTRY_COMPARE_WITH_TIMEOUT(m_window->form()->connectedSensors(), 0, patience);
    EventRecord late; // nothing says that samples follow an event
    late.time = card()->store()->lastTime() + 1000007;
    QVERIFY(card()->store()->addEvent(late));
    const EventRecord hidden = card()->store()->eventsInRange(0, late.time).constFirst();
    const QString hiddenType = eventtype::nameOf(hidden);
    if (filtered)
        m_parts->filter.setEnabled(hiddenType, false);
    quint64 from = 0;
    quint64 to = 0;
    const QString byWindow = folder(QStringLiteral("window.vi.csv"));
    m_parts->prompts.paths = QStringList{byWindow};
    QTimer::singleShot(20, m_window.get(), [&] {
        auto *dialog = openDialog<exportDialog>();
        auto *end = dialog->findChild<QDateTimeEdit *>(QStringLiteral("endDateTime"));
        if (!whole)
            end->setDateTime(end->dateTime().addMSecs(-1100));
        from = dialog->rangeStart();
        to = dialog->rangeEnd();
        dialog->findChild<QDialogButtonBox *>()->button(QDialogButtonBox::Ok)->click();
    });
    card()->exportData();
    QVERIFY(to > from);
    QVERIFY(m_window->close());

    const Programs programs(m_parts->temporary.path());
    QStringList arguments{QStringLiteral("export"), m_path, QStringLiteral("--out"),
                          folder(QStringLiteral("cli.vi.csv"))};
    if (!whole)
        arguments += {QStringLiteral("--from"), QString::number(from), QStringLiteral("--to"), QString::number(to)};
    if (filtered) {
        QStringList shown = eventtype::names();
        shown.removeAll(hiddenType);
        arguments += {QStringLiteral("--types"), shown.join(QLatin1Char(','))};
    }
    const Programs::Result result = programs.cli(arguments);
    QVERIFY2(result.code == 0, result.err.constData());
    for (const char *suffix : {".vi.csv", ".rfon.csv", ".events.csv"}) {
        const auto linesOf = [&](const char *name) {
            QFile file(folder(QLatin1String(name)) + QLatin1String(suffix));
            if (!file.open(QIODevice::ReadOnly))
                return QList<QByteArray>();
            QList<QByteArray> lines = file.readAll().split('\n');
            if (lines.size() > 4 && lines.at(4).startsWith("Export Date"))
                lines.removeAt(4);
            return lines;
        };
        QVERIFY(linesOf("window").size() > 10);
        if (qstrcmp(suffix, ".events.csv") == 0)
            QCOMPARE(linesOf("window").join().contains(hiddenType.toLatin1()), !filtered);
        QCOMPARE(linesOf("window"), linesOf("cli"));
    }
}

QTEST_MAIN(TestAnyMoment)
#include "tst_anymoment.moc"
