#include "data/valuetype.h"
#include "display/overlay/overlaypicture.h"
#include "display/overlay/overlayseries.h"
#include "display/overlay/overlayset.h"
#include "display/recordedstore.h"
#include "display/records/runsearcher.h"
#include "display/records/sessionrecords.h"

#include <QSignalSpy>
#include <QTest>

#include <cmath>

namespace {

constexpr int patience = 20000;

std::shared_ptr<SeriesBlock> curveOf(int samples, quint64 step, const std::function<double(int)> &voltage)
{
    auto series = std::make_shared<SeriesBlock>(QVector<int>{Voltage, Current});
    for (int i = 0; i < samples; ++i) {
        SamplePoint sample;
        sample.time = overlayOrigin + quint64(i) * step;
        sample.voltage = voltage(i);
        series->append(&sample, 1);
    }
    return series;
}

ResampledCurve resampledOf(const SeriesBlock &series, const ColumnGrid &grid)
{
    PixelColumns columns(std::size_t(grid.width()));
    series.columns(Voltage, grid, columns);
    return resampled(columns, grid, series.neighbour(Voltage, grid.from(), true),
                     series.neighbour(Voltage, grid.to(), false));
}

ViewSensor sensorOf(const std::shared_ptr<norvexData> &store)
{
    return {store->sensorSerial(), store->sensorSerial() + QStringLiteral(" Etch 1"), store, Theme::sensorColour(0),
            true};
}

} // namespace

class TestOverlays : public QObject
{
    Q_OBJECT

private slots:
    void resamplingFollowsTheLine();
    void bandAndOddOneOut();
    void thePictureShowsEveryExtreme();
    void overlaysWhatIsInRange();
    void eventsLieOnTheirTrigger();
    void tableKeepsItsCounts();
};

void TestOverlays::resamplingFollowsTheLine()
{
    // A ramp of 1 V a sample, seen through a window between samples: the line is there all the same.
    const auto ramp = curveOf(600, 1000, [](int i) { return i; });
    const ColumnGrid zoomed(overlayOrigin + 100000, overlayOrigin + 110000, 200);
    const ResampledCurve line = resampledOf(*ramp, zoomed);
    for (int column = 0; column < 200; ++column)
        QVERIFY(std::abs(double(line.middle[std::size_t(column)]) - (100 + (column + 0.5) * 0.05)) < 0.06);
    // Nothing is made up before, after, or where samples are missing.
    auto broken = std::make_shared<SeriesBlock>(QVector<int>{Voltage});
    for (int i = 0; i < 1000; ++i) {
        SamplePoint sample;
        sample.time = overlayOrigin + quint64(i) * 1000 + (i < 500 ? 0 : 300000);
        broken->append(&sample, 1);
    }
    const ColumnGrid whole(overlayOrigin - 100000, overlayOrigin + 1400000, 3000);
    const ResampledCurve gaps = resampledOf(*broken, whole);
    const auto at = [&](quint64 us) { return gaps.middle[std::size_t(whole.columnOf(overlayOrigin + us))]; };
    QVERIFY(std::isnan(gaps.middle[100]));
    QVERIFY(!std::isnan(at(250000)));
    QVERIFY(std::isnan(at(650000)));
    QVERIFY(!std::isnan(at(900000)));
    QVERIFY(std::isnan(at(1350000)));
}

void TestOverlays::bandAndOddOneOut()
{
    QVector<OverlayCurve> curves;
    std::vector<ResampledCurve> lines;
    const ColumnGrid grid(overlayOrigin, overlayOrigin + 1000000, 100);
    for (int k = 0; k < 9; ++k) {
        curves.append({curveOf(1000, 1000, [k](int i) { return k == 8 && i >= 500 ? 50.0 : 100.0 + k; }), {}, false});
        lines.push_back(resampledOf(*curves.last().series, grid));
    }
    const OverlayBand band = bandOf(lines, 100);
    QCOMPARE(band.median[10], 104.0F);
    QCOMPARE(band.low[10], 100.0F);
    QCOMPARE(band.high[10], 108.0F);
    QCOMPARE(band.median[90], 103.0F);
    QCOMPARE(band.low[90], 50.0F);
    const QVector<double> distances = overlayDistances(curves, Voltage, false);
    QCOMPARE(distances.size(), 9);
    QVERIFY(distances[8] > 30 && distances[4] < 1);
    // A curve without this quantity has no distance, and takes no part.
    curves.append({std::make_shared<SeriesBlock>(QVector<int>{Current}), {}, false});
    SamplePoint sample;
    sample.time = overlayOrigin;
    std::const_pointer_cast<SeriesBlock>(curves.last().series)->append(&sample, 1);
    const QVector<double> more = overlayDistances(curves, Voltage, false);
    QVERIFY(std::isnan(more[9]));
    QVERIFY(qFuzzyCompare(more[8], distances[8]));
}

void TestOverlays::thePictureShowsEveryExtreme()
{
    // One sample of 100,000 reaches the top: its pixel is painted.
    OverlayRequest request;
    request.curves.append(
        {curveOf(100000, 100, [](int i) { return i == 60000 ? 390.0 : 100.0; }), QPen(Qt::red, 1), false});
    request.visible = {overlayOrigin, overlayOrigin + 10000000};
    request.values = {0, 400};
    request.size = {500, 200};
    request.showBand = false;
    const QImage image = paintOverlay(request, false).image;
    QCOMPARE(image.size(), request.size);
    QVERIFY(qAlpha(image.pixel(300, 6)) > 0);
    QVERIFY(qAlpha(image.pixel(290, 6)) == 0);
    QVERIFY(qAlpha(image.pixel(290, 150)) > 0);
    QVERIFY(paintOverlay(request, true).image.isNull()); // cancelled
}

void TestOverlays::overlaysWhatIsInRange()
{
    const auto store = recordedStore(QStringLiteral("SN1"), 90);
    const auto other = recordedStore(QStringLiteral("SN2"), 90, 2);
    QVERIFY(store->runCount() > 3);
    const QVector<RunRecord> runs = store->runsInRange(0, ~quint64(0));
    const Theme theme(Theme::Kind::Light);
    SessionRecords records;
    RunSearcher searcher(records);
    OverlaySet set(theme, records, searcher);
    QSignalSpy added(&set, &OverlaySet::added);
    QSignalSpy counts(&set.table(), &OverlayTable::overlayTableUpdated);
    ViewSensor off = sensorOf(other);
    off.on = false;
    // From inside the second run to inside the third.
    records.setSensors({sensorOf(store), off});
    set.add({OverlayEntry::Run, {runs[1].end - 1000000, runs[2].start + 1000000}, {}, {}});
    QTRY_COMPARE_WITH_TIMEOUT(added.size(), 1, patience);
    QCOMPARE(set.table().count(OverlayEntry::Run), 2);
    QCOMPARE(counts.last(), (QVariantList{2, 0}));
    const auto isRead = [&set] {
        for (int row = 0; row < set.table().rowCount(); ++row)
            if (set.table().entry(row).state != OverlayEntry::Read)
                return false;
        return true;
    };
    QTRY_VERIFY_WITH_TIMEOUT(isRead(), patience);
    // The curve holds the samples of the run and begins with it.
    QVector<SamplePoint> samples;
    QVERIFY(store->samplesInRange(runs[1].start, runs[1].end + 1000000, samples));
    const OverlayEntry &entry = set.table().entry(0);
    QCOMPARE(entry.number, 2);
    QCOMPARE(entry.series->count(), samples.size());
    QCOMPARE(entry.series->first(), overlayOrigin + samples.first().time - runs[1].start);
    // The same range again brings nothing, a wider one the rest.
    set.add({OverlayEntry::Run, {runs[1].start, runs[2].end}, {}, {}});
    QTRY_COMPARE_WITH_TIMEOUT(added.size(), 2, patience);
    QCOMPARE(added.last().mid(1), (QVariantList{2, 0, 0}));
    records.setSensors({sensorOf(store), sensorOf(other)});
    set.add({OverlayEntry::Run, {0, ~quint64(0)}, {}, {}});
    QTRY_COMPARE_WITH_TIMEOUT(added.size(), 3, patience);
    QCOMPARE(set.table().count(OverlayEntry::Run), store->runCount() + other->runCount());
    set.table().removeSensor(QStringLiteral("SN1"));
    QCOMPARE(counts.last(), (QVariantList{other->runCount(), 0}));
    // Those that were chosen, wherever they are.
    set.table().clear(OverlayEntry::Run);
    set.add({OverlayEntry::Run, {}, {{store->sensorSerial(), runs[3].start, eventtype::RfOn}}, {}});
    QTRY_COMPARE_WITH_TIMEOUT(added.size(), 4, patience);
    QCOMPARE(set.table().count(OverlayEntry::Run), 1);
    QCOMPARE(set.table().entry(0).start, runs[3].start);
}

void TestOverlays::eventsLieOnTheirTrigger()
{
    const auto store = recordedStore(QStringLiteral("SN1"), 60);
    const Theme theme(Theme::Kind::Dark);
    SessionRecords records;
    RunSearcher searcher(records);
    OverlaySet set(theme, records, searcher);
    QSignalSpy added(&set, &OverlaySet::added);
    records.setSensors({sensorOf(store)});
    set.add(
        {OverlayEntry::Event, {0, ~quint64(0)}, {}, [](const QString &type) { return type != QLatin1String("E11"); }});
    QTRY_COMPARE_WITH_TIMEOUT(added.size(), 1, patience);
    int expected = 0;
    for (const EventRecord &event : store->eventsInRange(0, ~quint64(0)))
        expected += event.effectiveCode() != eventtype::E11 ? 1 : 0;
    QVERIFY(expected > 0 && expected < store->eventCount());
    QCOMPARE(set.table().count(OverlayEntry::Event), expected);
    QTRY_VERIFY_WITH_TIMEOUT(set.table().entry(expected - 1).state == OverlayEntry::Read, patience);
    for (int row = 0; row < expected; ++row) {
        QCOMPARE(set.table().entry(row).series->first(), overlayOrigin);
        QCOMPARE(set.table().entry(row).series->count(), 300);
    }
    // They go by the names of today.
    eventType dip;
    dip.name = QStringLiteral("dip");
    dip.magnitude = 100;
    dip.direction = eventType::Inferior;
    records.setUserTypes({dip});
    QTRY_COMPARE_WITH_TIMEOUT(set.table().entry(0).type, dip.name, patience);
    records.setUserTypes({});
    QTRY_VERIFY_WITH_TIMEOUT(set.table().entry(0).type != dip.name, patience);
}

void TestOverlays::tableKeepsItsCounts()
{
    const Theme theme(Theme::Kind::Light);
    OverlayTable table(theme);
    QSignalSpy counts(&table, &OverlayTable::overlayTableUpdated);
    QSignalSpy curves(&table, &OverlayTable::curvesChanged);
    QVector<OverlayEntry> entries(8);
    for (int i = 0; i < 8; ++i) {
        entries[i].kind = i < 5 ? OverlayEntry::Run : OverlayEntry::Event;
        entries[i].start = quint64(i) + 1;
        entries[i].state = OverlayEntry::Read;
    }
    QCOMPARE(table.add(entries), 8);
    QCOMPARE(table.add(entries.mid(2, 3)), 0);
    table.remove({0, 6, 0});
    QCOMPARE(counts.last(), (QVariantList{4, 2}));
    const int changes = curves.size();
    QVERIFY(table.setData(table.index(1, OverlayTable::Number), Qt::Unchecked, Qt::CheckStateRole));
    QVERIFY(!table.entry(1).visible);
    QCOMPARE(curves.size(), changes + 1);
    // The odd one out is marked, however near it is in volts.
    table.setDistances({0, 1, 2, 3, 4, 5}, {0.01, 0.012, 0.011, 0.01, 0.2, 0.012}, QStringLiteral("V"));
    for (int row = 0; row < 6; ++row)
        QCOMPARE(table.data(table.index(row, OverlayTable::Distance), Qt::FontRole).isValid(), row == 4);
    table.clear(OverlayEntry::Run);
    QCOMPARE(counts.last(), (QVariantList{0, 2}));
}

QTEST_MAIN(TestOverlays)
#include "tst_overlays.moc"
