#include "display/chamberstore.h"
#include "display/look/emptypage.h"
#include "display/plot/arcplotdisplay.h"
#include "display/views/recordtable.h"
#include "display/views/sessionviews.h"
#include "events/eventfilter.h"
#include "events/eventtypenames.h"
#include "session/appsettings.h"
#include "session/recorder.h"
#include "session/session.h"
#include "support/fakeprompts.h"

#include <QApplication>
#include <QClipboard>
#include <QDoubleSpinBox>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QStackedWidget>
#include <QTableWidget>
#include <QtTest>

using namespace chamber;

namespace {
constexpr int patience = 20000;
const QString serial = QStringLiteral("SN1");
} // namespace

class TestSessionViews : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();
    void aRunOfThePlotOpens();
    void anEventOfThePlotOpens();
    void aPeriodLimitsTheLists();
    void theFilterHidesEvents();
    void searchingAgain();
    void backInThePlot();
    void emptyStatesSayWhy();
    void keysAndCopy();

private:
    struct World; // what a session form would own
    RecordTable *table(int page) const { return m_views->view(page)->findChild<RecordTable *>(); }
    template <class Widget>
    Widget *child(int page, const char *name) const
    {
        return m_views->view(page)->findChild<Widget *>(QLatin1String(name));
    }
    template <class Widget>
    Widget *emptyChild(int page, const char *name) const // of what stands in place of the list
    {
        return m_views->view(page)->findChild<RecordPanel *>()->findChild<EmptyPage *>()->findChild<Widget *>(
            QLatin1String(name));
    }
    int rows(int page) const { return table(page)->model()->rowCount(); }
    void show(const std::shared_ptr<norvexData> &store);

    std::unique_ptr<World> m_world;
    SessionViews *m_views = nullptr;
    arcPlotDisplay *m_plot = nullptr;
};

struct TestSessionViews::World
{
    QTemporaryDir folder;
    std::unique_ptr<Session> session{Session::create(folder.filePath(QStringLiteral("session")), nullptr)};
    Recorder recorder{session.get(), {}};
    FakePrompts prompts;
    AppSettings settings{folder.filePath(QStringLiteral("settings.ini"))};
    Theme theme{Theme::Kind::Light};
    eventTypeNames dictionary;
    ::eventFilter filter{dictionary};
    QStackedWidget stack;
};

void TestSessionViews::init()
{
    m_world = std::make_unique<World>();
    m_plot = new arcPlotDisplay(m_world->theme);
    const DisplayContext context{*m_world->session, m_world->recorder, m_world->prompts,   m_world->settings,
                                 m_world->theme,    m_world->filter,   m_world->dictionary};
    m_views = new SessionViews(context, &m_world->stack, m_plot, m_plot, &m_world->stack);
    connect(&m_world->filter, &::eventFilter::newFilter, m_views, &SessionViews::filterChanged);
    m_world->stack.resize(1100, 700);
    m_world->stack.show();
}

void TestSessionViews::cleanup()
{
    m_world.reset();
}

void TestSessionViews::show(const std::shared_ptr<norvexData> &store)
{
    m_plot->addSensor(serial, serial, store, Qt::red);
    m_views->setSensors({{serial, QStringLiteral("SN1 Etch"), store, Qt::red, true}});
}

void TestSessionViews::aRunOfThePlotOpens()
{
    const auto data = store(8);
    show(data);
    QSignalSpy requests(m_views, &SessionViews::pageRequested);
    const RunRecord run = data->runsInRange(0, ~quint64(0)).at(3);
    emit m_plot->runActivated(serial, run.start);
    QCOMPARE(requests.takeFirst().first().toInt(), int(SessionViews::Runs));
    QCOMPARE(m_views->current(), int(SessionViews::Runs));
    QTRY_COMPARE_WITH_TIMEOUT(rows(SessionViews::Runs), 8, patience);
    QVERIFY(child<QLabel>(SessionViews::Runs, "runTitle")->text().contains(QStringLiteral("Run 4")));
    auto *steps = child<QTableWidget>(SessionViews::Runs, "runSteps");
    QTRY_COMPARE_WITH_TIMEOUT(steps->rowCount(), 3, patience);
    QCOMPARE(steps->item(1, 5)->text(), QStringLiteral("1"));
    const auto *curves = m_views->view(SessionViews::Runs)->findChild<arcPlotDisplay *>();
    QVERIFY(curves->visibleRange().contains(run.start) && curves->visibleRange().contains(run.end));
    QVERIFY(!curves->isFollowing());
}

void TestSessionViews::anEventOfThePlotOpens()
{
    const auto data = store(8);
    show(data);
    const EventRecord event = data->eventsInRange(0, ~quint64(0)).at(4);
    emit m_plot->eventActivated(serial, event.time, event.typeCode);
    m_views->request(SessionViews::Events);
    QTRY_COMPARE_WITH_TIMEOUT(rows(SessionViews::Events), data->eventCount(), patience);
    QVERIFY(child<QLabel>(SessionViews::Events, "eventTitle")->text().contains(QStringLiteral("E23")));
    const auto *waveform = child<arcPlotDisplay>(SessionViews::Events, "waveform");
    QTRY_COMPARE_WITH_TIMEOUT(waveform->visibleRange(), (TimeRange{event.time, event.time + 200}), patience);
    QVERIFY(m_views->selection().run() < event.time && m_views->selection().run() > event.time - 10 * second);
    child<QPushButton>(SessionViews::Events, "b_eventRun")->click();
    QCOMPARE(m_views->current(), int(SessionViews::Runs));
    QVERIFY(!child<QLabel>(SessionViews::Runs, "runTitle")->text().isEmpty());
}

void TestSessionViews::aPeriodLimitsTheLists()
{
    const auto data = store(8);
    show(data);
    m_views->show(SessionViews::Runs);
    QTRY_COMPARE_WITH_TIMEOUT(rows(SessionViews::Runs), 8, patience);
    const auto runs = data->runsInRange(0, ~quint64(0));
    const TimeRange period{runs.at(2).start, runs.at(5).start};
    m_views->selection().selectPeriod(period);
    QCOMPARE(rows(SessionViews::Runs), 3);
    QCOMPARE(m_plot->visibleRange(), period);
    m_views->show(SessionViews::Events);
    QCOMPARE(rows(SessionViews::Events), data->eventsInRange(period.from, period.to).size());
    child<QAbstractButton>(SessionViews::Events, "periodButton")->click();
    QCOMPARE(rows(SessionViews::Events), data->eventCount());
    QCOMPARE(rows(SessionViews::Runs), 8);
}

void TestSessionViews::theFilterHidesEvents()
{
    const auto data = store(6);
    show(data);
    m_views->show(SessionViews::Events);
    QTRY_COMPARE_WITH_TIMEOUT(rows(SessionViews::Events), data->eventCount(), patience);
    m_world->filter.setEnabled(QStringLiteral("E23"), false);
    QCOMPARE(rows(SessionViews::Events), 2);
    m_world->filter.setAllEnabled(false);
    QCOMPARE(rows(SessionViews::Events), 0);
    auto *button = emptyChild<QPushButton>(SessionViews::Events, "emptyButton");
    QVERIFY(button->isVisible());
    button->click();
    QCOMPARE(rows(SessionViews::Events), data->eventCount());

    table(SessionViews::Events)->selectAll();
    m_views->addToOverlay(false);
    m_views->show(SessionViews::EventsOverlay);
    const auto *overlaid = child<QTableView>(SessionViews::EventsOverlay, "overlayTable");
    QTRY_COMPARE_WITH_TIMEOUT(overlaid->model()->rowCount(), data->eventCount(), patience);
    m_world->filter.setEnabled(QStringLiteral("E23"), false);
    QCOMPARE(overlaid->model()->rowCount(), 2);
}

void TestSessionViews::searchingAgain()
{
    const auto data = store(8);
    show(data);
    m_views->show(SessionViews::Runs);
    QTRY_COMPARE_WITH_TIMEOUT(rows(SessionViews::Runs), 8, patience);
    child<QDoubleSpinBox>(SessionViews::Runs, "rfonThreshold")->setValue(205);
    child<QPushButton>(SessionViews::Runs, "b_searchRuns")->click();
    QTRY_VERIFY_WITH_TIMEOUT(rows(SessionViews::Runs) > 8, patience); // the voltage crosses it again and again
    const int found = rows(SessionViews::Runs);
    child<QDoubleSpinBox>(SessionViews::Runs, "rfonThreshold")->setValue(210);
    child<QPushButton>(SessionViews::Runs, "b_searchRuns")->click();
    child<QPushButton>(SessionViews::Runs, "b_cancelSearch")->click();
    QCOMPARE(rows(SessionViews::Runs), found);
    QCOMPARE(m_views->searcher().threshold(), 205.0);
    child<QPushButton>(SessionViews::Runs, "b_storedRuns")->click();
    QCOMPARE(rows(SessionViews::Runs), 8);
    child<QPushButton>(SessionViews::Runs, "b_searchRuns")->click();
    child<QPushButton>(SessionViews::Runs, "b_cancelSearch")->click();
    QCOMPARE(rows(SessionViews::Runs), 8);
}

void TestSessionViews::backInThePlot()
{
    const auto data = store(4);
    show(data);
    m_views->show(SessionViews::Events);
    QTRY_COMPARE_WITH_TIMEOUT(rows(SessionViews::Events), data->eventCount(), patience);
    const quint64 time = m_views->selection().event();
    QVERIFY(time > 0);
    child<QPushButton>(SessionViews::Events, "b_eventInPlot")->click();
    QCOMPARE(m_views->current(), int(SessionViews::Live));
    QVERIFY(m_plot->visibleRange().contains(time));
    QVERIFY(m_plot->visibleRange().length() < 20 * second);
    QVERIFY(!m_plot->isFollowing());
}

void TestSessionViews::emptyStatesSayWhy()
{
    const auto text = [this](int page) { return emptyChild<QLabel>(page, "emptyText")->text(); };
    for (const int page : {int(SessionViews::Runs), int(SessionViews::Events)}) {
        m_views->show(page);
        QVERIFY2(text(page).startsWith(QStringLiteral("No sensor yet")), qPrintable(text(page)));
    }
    const auto data = std::make_shared<norvexData>();
    m_views->setSensors({{serial, serial, data, Qt::red, true}});
    QTRY_VERIFY_WITH_TIMEOUT(text(SessionViews::Events).startsWith(QStringLiteral("No event yet")), patience);
    m_views->show(SessionViews::Runs);
    QVERIFY(text(SessionViews::Runs).contains(QStringLiteral("20 V")));
    m_views->setSensors({{serial, serial, data, Qt::red, false}});
    QVERIFY(text(SessionViews::Runs).startsWith(QStringLiteral("No sensor is switched on")));
    emptyChild<QPushButton>(SessionViews::Runs, "emptyButton")->click();
    QCOMPARE(m_views->current(), int(SessionViews::Live));
}

void TestSessionViews::keysAndCopy()
{
    const auto data = store(6);
    show(data);
    m_views->show(SessionViews::Events);
    QTRY_COMPARE_WITH_TIMEOUT(rows(SessionViews::Events), data->eventCount(), patience);
    RecordTable *list = table(SessionViews::Events);
    QCOMPARE(list->currentIndex().row(), data->eventCount() - 1); // the newest
    QTest::keyClick(list, Qt::Key_P);
    QTest::keyClick(list, Qt::Key_P);
    QTest::keyClick(list, Qt::Key_N);
    QCOMPARE(list->currentIndex().row(), data->eventCount() - 2);
    QTest::keyClick(m_views->view(SessionViews::Events)->findChild<arcPlotDisplay *>(), Qt::Key_P);
    QCOMPARE(list->currentIndex().row(), data->eventCount() - 3);
    list->selectAll();
    QTest::keyClick(list, Qt::Key_C, Qt::ControlModifier);
    QCOMPARE(QApplication::clipboard()->text().count(QLatin1Char('\n')), data->eventCount() + 1);
}

QTEST_MAIN(TestSessionViews)
#include "tst_sessionviews.moc"
