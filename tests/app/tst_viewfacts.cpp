#include "cli/sessioninfo.h"
#include "display/look/typecolours.h"
#include "display/recordedstore.h"
#include "display/records/runsearcher.h"
#include "display/records/sessionselection.h"
#include "display/views/arcglobalview.h"
#include "display/views/eventlistmodel.h"
#include "display/views/runlistmodel.h"
#include "display/views/summarymodel.h"
#include "display/views/summaryview.h"
#include "events/eventtypenames.h"
#include "export/csvexport.h"
#include "export/exportevents.h"
#include "session/appsettings.h"
#include "session/recorder.h"
#include "session/session.h"
#include "support/fakeprompts.h"

#include <QComboBox>
#include <QSignalSpy>
#include <QTableView>
#include <QTemporaryDir>
#include <QtTest>

namespace {

constexpr int patience = 20000;
const QString userName = QStringLiteral("long collapse");
constexpr quint64 later = 1709290800000000ULL + 600000000;

/// A session of two recorded sensors and the views that count it.
struct Views
{
    QTemporaryDir folder;
    FakePrompts prompts;
    AppSettings settings{folder.filePath(QStringLiteral("settings.ini"))};
    Theme theme{Theme::Kind::Light};
    eventTypeNames dictionary;
    ::eventFilter filter{dictionary};
    SessionError error;
    std::unique_ptr<Session> session = Session::create(folder.filePath(QStringLiteral("session")), &error);
    Recorder recorder{session.get(), Recorder::Options()};
    DisplayContext context{*session, recorder, prompts, settings, theme, filter, dictionary};
    SessionSelection selection;
    SessionRecords records;
    RunSearcher searcher{records};
    arcGlobalView chart{context, selection, records};
    SummaryView summary{context, selection, records, searcher};
    QVector<ViewSensor> sensors;

    Views()
    {
        for (const char *serial : {"SN1", "SN2"}) {
            const QString name = QLatin1String(serial);
            const auto store = session->addSensor(name, QStringLiteral("Etch"), QString(), 80);
            store->setDurableLog(nullptr); // nothing is lost here
            recordInto(*store, 90, quint64(sensors.size()) + 1);
            sensors.append({name, name + QStringLiteral(" Etch"), store, Theme::sensorColour(sensors.size()), true});
        }
        for (SessionView *view : {static_cast<SessionView *>(&chart), static_cast<SessionView *>(&summary)}) {
            view->setSensors(sensors);
            view->resize(900, 500);
            view->show();
        }
        QObject::connect(&filter, &eventTypeFilter::newFilter, &records, [this] {
            records.setUserTypes(filter.enabledUserTypes());
            chart.filterChanged();
            summary.filterChanged();
        });
        records.setSensors(sensors);
    }

    void addUserType()
    {
        eventType type;
        type.name = userName;
        type.magnitude = 150;
        type.duration = 40;
        type.direction = eventType::Inferior;
        dictionary.add(type);
    }

    int runCount() const { return sensors[0].store->runCount() + sensors[1].store->runCount(); }

    /// What the bar chart says of each type.
    QMap<QString, int> charted() const
    {
        QMap<QString, int> counts;
        const QStringList names = records.typeNames();
        for (int type = 0; type < names.size(); ++type)
            if (type != eventtype::RfOn && chart.histogram().total(type) > 0)
                counts[names.at(type)] = int(chart.histogram().total(type));
        return counts;
    }
    /// What the list of events says.
    QMap<QString, int> listed() const
    {
        EventListModel model({}, nullptr);
        model.setSensors(records.sensors());
        QMap<QString, int> counts;
        for (int row = 0; row < model.rowCount(); ++row)
            ++counts[model.index(row, EventListModel::Type).data().toString()];
        return counts;
    }

    /// Lines of cells from the one that starts with "Start time" on.
    QVector<QStringList> exportedRuns(int sensor)
    {
        ExportRequest request;
        request.from = sensors[sensor].store->firstTime();
        request.to = sensors[sensor].store->lastTime();
        request.toIncluded = true;
        request.eventTypes = filter.enabledNames();
        for (const QString &name : filter.names()) {
            if (!filter.isEnabled(name))
                request.disabledTypes.append(name);
        }
        request.userTypes = filter.enabledUserTypes();
        request.viFile = folder.filePath(QStringLiteral("vi.csv"));
        request.rfOnFile = folder.filePath(QStringLiteral("runs.csv"));
        request.exportEvents = false;
        request.exportRfOn = true;
        exportCsv(*sensors[sensor].store, request, QDateTime::currentDateTime());
        QFile file(request.rfOnFile);
        if (!file.open(QIODevice::ReadOnly))
            return {};
        QVector<QStringList> rows;
        for (const QString &line : QString::fromUtf8(file.readAll()).split(QLatin1Char('\n'))) {
            if (!rows.isEmpty() || line.startsWith(QLatin1String("Start time")))
                rows.append(line.split(QLatin1Char(';')));
        }
        rows.removeLast(); // after the last line's end
        return rows;
    }
};

} // namespace

/// What the counting views show is what the command line and the export say of the same session.
class TestViewFacts : public QObject
{
    Q_OBJECT

private slots:
    void barsCountWhatInfoCounts();
    void summaryIsTheExportedTable_data();
    void summaryIsTheExportedTable();
    void oneNameInEveryView();
    void aSearchIsListedInstead();
    void choosingGoesEverywhere();
};

void TestViewFacts::barsCountWhatInfoCounts()
{
    Views views;
    const auto differs = [&views] {
        QMap<QString, int> expected;
        int runs = 0;
        for (const SensorSummary &sensor : summaryOf(*views.session).sensors) {
            runs += sensor.runs;
            for (auto it = sensor.eventsByType.begin(); it != sensor.eventsByType.end(); ++it)
                expected[it.key()] += it.value();
        }
        return views.charted() != expected || views.listed() != expected || runs == 0 ||
               int(views.chart.histogram().total(eventtype::RfOn)) != runs ||
               views.records.counts().value(eventtype::name(eventtype::RfOn)) != runs;
    };
    QTRY_VERIFY_WITH_TIMEOUT(!differs(), patience);

    // What comes later, late or under another name is added to what was counted.
    EventRecord event;
    event.time = later;
    event.typeCode = eventtype::E33;
    QVERIFY(views.sensors[0].store->addEvent(event));
    event.time = later - 300000000;
    event.named = true;
    event.name = QStringLiteral("arc on the wall");
    QVERIFY(views.sensors[0].store->addEvent(event));
    event.time = later + 1;
    QVERIFY(views.sensors[1].store->addEvent(event));
    QVERIFY(differs());
    QTRY_VERIFY_WITH_TIMEOUT((views.records.refresh(), !differs()), patience);
    // Every way of cutting counts the same, and a sensor that is switched off counts nothing.
    const quint64 all = views.chart.histogram().total(eventtype::E33);
    for (const auto period : {CalendarPeriods::Minute, CalendarPeriods::Week}) {
        views.chart.setPeriod(period);
        QCOMPARE(views.chart.histogram().total(eventtype::E33), all);
    }
    for (ViewSensor &sensor : views.sensors)
        sensor.on = false;
    views.chart.setSensors(views.sensors);
    views.records.setSensors(views.sensors);
    QCOMPARE(views.chart.histogram().barCount(), 0);
}

void TestViewFacts::summaryIsTheExportedTable_data()
{
    QTest::addColumn<QString>("hidden");
    QTest::addColumn<bool>("userType");
    QTest::newRow("all types") << QString() << false;
    QTest::newRow("a hidden type") << "E11" << false;
    QTest::newRow("a type of the user") << QString() << true;
}

void TestViewFacts::summaryIsTheExportedTable()
{
    QFETCH(QString, hidden);
    QFETCH(bool, userType);
    Views views;
    if (userType)
        views.addUserType();
    if (!hidden.isEmpty())
        views.filter.setEnabled(hidden, false);
    const SummaryModel &model = views.summary.model();
    const int runs = views.runCount();

    const auto cell = [&model](int row, int column) {
        return model.data(model.index(row, column), SummaryModel::CopyRole).toString();
    };
    const QVector<QStringList> tables[2] = {views.exportedRuns(0), views.exportedRuns(1)};
    const auto differs = [&]() -> QString {
        if (model.rowCount() != runs || runs == 0)
            return QStringLiteral("%1 of %2 runs").arg(model.rowCount()).arg(runs);
        for (int row = 0; row < runs; ++row) {
            const SummaryRow &shown = model.row(row);
            const QStringList header = tables[shown.sensor].first();
            const QStringList exported = tables[shown.sensor].value(shown.number);
            if (exported.size() != header.size())
                return QStringLiteral("no run %1").arg(shown.number);
            if (qRound64(cell(row, SummaryModel::Duration).toDouble() * 1e6) != exported[2].toLongLong())
                return QStringLiteral("duration");
            if (qAbs(cell(row, SummaryModel::MeanVoltage).toDouble() - exported[3].toDouble()) > 0.001)
                return QStringLiteral("voltage");
            const RunRow &listed = views.records.sensors()[shown.sensor].records->runs[shown.number - 1];
            if (shown.run.start != listed.record.start)
                return QStringLiteral("start");
            if (cell(row, model.totalColumn()) != exported.last())
                return QStringLiteral("total %1, not %2").arg(cell(row, model.totalColumn()), exported.last());
            for (int column = SummaryModel::FirstType; column < model.totalColumn(); ++column) {
                const int at = header.indexOf(model.headerData(column, Qt::Horizontal).toString());
                if (cell(row, column) != exported.value(at, QStringLiteral("0")))
                    return model.headerData(column, Qt::Horizontal).toString();
            }
        }
        return QString();
    };
    QTRY_COMPARE_WITH_TIMEOUT(differs(), QString(), patience);
    RunListModel list(nullptr);
    list.setSensors(views.records.sensors());
    const QStringList names = views.records.typeNames();
    list.setTypes(shownTypes(names, views.filter), names);
    for (int row = 0; row < runs; ++row) {
        const RecordKey key = list.key(row);
        QCOMPARE(
            list.index(row, RunListModel::Events).data().toString().replace(QStringLiteral("–"), QStringLiteral("0")),
            cell(model.find(key.sensor, key.time), model.totalColumn()));
    }
    if (userType)
        QVERIFY(model.value(model.row(0), model.totalColumn() - 1) > 0); // the type is really there
}

void TestViewFacts::oneNameInEveryView()
{
    Views views;
    views.addUserType();
    QTRY_VERIFY_WITH_TIMEOUT(views.listed().value(userName) > 0 && views.records.isUpToDate(), patience);
    QTRY_COMPARE_WITH_TIMEOUT(views.charted(), views.listed(), patience);
    const int all =
        views.records.sensors()[0].records->events.size() + views.records.sensors()[1].records->events.size();
    int counted = 0;
    for (const int count : views.listed())
        counted += count;
    QCOMPARE(counted, all);
    // As an export names them.
    int exported = 0;
    for (const ViewSensor &sensor : views.sensors) {
        ExportRequest request;
        request.to = ~quint64(0);
        request.eventTypes = views.filter.enabledNames();
        request.userTypes = views.filter.enabledUserTypes();
        exported += ExportEvents(*sensor.store, request).byType().value(userName).size();
    }
    QCOMPARE(views.listed().value(userName), exported);
    // A type that is switched off or gone names nothing any more, anywhere.
    views.filter.setEnabled(userName, false);
    QTRY_COMPARE_WITH_TIMEOUT(views.listed().value(userName), 0, patience);
    QTRY_COMPARE_WITH_TIMEOUT(views.charted(), views.listed(), patience);
    views.filter.setEnabled(userName, true);
    QTRY_COMPARE_WITH_TIMEOUT(views.charted().value(userName), exported, patience);
    views.dictionary.remove(0);
    QTRY_COMPARE_WITH_TIMEOUT(views.charted().value(userName), 0, patience);
    QTRY_COMPARE_WITH_TIMEOUT(views.charted(), views.listed(), patience);
}

void TestViewFacts::aSearchIsListedInstead()
{
    Views views;
    const int stored = views.runCount();
    QTRY_COMPARE_WITH_TIMEOUT(views.summary.model().rowCount(), stored, patience);
    views.searcher.start(1e5);
    QVERIFY(views.searcher.isRunning());
    QTRY_COMPARE_WITH_TIMEOUT(views.summary.model().rowCount(), 0, patience); // none reaches it
    views.searcher.start(20);
    QTRY_VERIFY_WITH_TIMEOUT(views.summary.model().rowCount() >= stored, patience);
    QVERIFY(views.searcher.hasFound());
    views.searcher.drop();
    QTRY_COMPARE_WITH_TIMEOUT(views.summary.model().rowCount(), stored, patience);
}

void TestViewFacts::choosingGoesEverywhere()
{
    Views views;
    QTRY_COMPARE_WITH_TIMEOUT(views.summary.model().rowCount(), views.runCount(), patience);
    auto *table = views.summary.findChild<QTableView *>(QStringLiteral("summaryTable"));
    QSignalSpy views5(&views.summary, &SessionView::viewRequested);
    table->selectRow(2);
    const SummaryRow &chosen = views.summary.model().row(2);
    QCOMPARE(views.selection.run(), chosen.run.start);
    QCOMPARE(views.selection.sensor(), chosen.serial);
    // It stays chosen when the table is sorted otherwise or filled again, and follows the other views.
    table->sortByColumn(SummaryModel::Duration, Qt::DescendingOrder);
    views.summary.filterChanged();
    QTest::qWait(1);
    QTRY_COMPARE_WITH_TIMEOUT(table->currentIndex().row(),
                              views.summary.model().find(views.selection.sensor(), views.selection.run()), patience);
    views.selection.selectRun(QStringLiteral("SN2"), views.sensors[1].store->runsInRange(0, later)[0].start);
    QCOMPARE(views.summary.model().row(table->currentIndex().row()).serial, QStringLiteral("SN2"));
    emit table->doubleClicked(table->currentIndex());
    QCOMPARE(views5.size(), 1);
    QCOMPARE(views5[0][0].toInt(), 1);

    // The next bar is chosen with a key, and the summary lists its runs.
    QSignalSpy windows(&views.chart, &arcGlobalView::setCurrentDisplayWindow);
    views.chart.setPeriod(CalendarPeriods::Minute);
    QTest::keyClick(&views.chart, Qt::Key_N);
    QCOMPARE(windows.size(), 1);
    QCOMPARE(windows[0][0].toUInt(), 0U);
    QCOMPARE(views.selection.period().length(), quint64(60000000));
    const int all = views.summary.model().rowCount();
    views.summary.findChild<QComboBox *>(QStringLiteral("cb_range"))->setCurrentIndex(SummaryView::Chosen);
    QTRY_VERIFY_WITH_TIMEOUT(views.summary.model().rowCount() < all && views.summary.model().rowCount() > 0, patience);
}

QTEST_MAIN(TestViewFacts)
#include "tst_viewfacts.moc"
