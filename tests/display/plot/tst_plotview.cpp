#include "display/plot/plotview.h"

#include <QTest>

class TestPlotView : public QObject
{
    Q_OBJECT

private slots:
    void followMovesWithTheNewestSample();
    void fillsFromTheLeft();
    void everyTimeStepPauses_data();
    void everyTimeStepPauses();
    void pausedViewStandsStill();
    void zoomKeepsTheAnchor();
    void historyGoesBackAndForward();
    void extremeInputStaysDrawable();
    void valueAxes();
};

namespace {
constexpr quint64 s = 1000000;
constexpr quint64 start = 1700000000 * s;
const TimeRange hour{start, start + 3600 * s};
} // namespace

void TestPlotView::followMovesWithTheNewestSample()
{
    PlotView view;
    QCOMPARE(view.statusText(), QStringLiteral("No data"));
    view.setSpan(100 * s);
    view.setData(hour);
    QCOMPARE(view.visible().to, hour.to + 2 * s);
    QCOMPARE(view.visible().length(), 100 * s);
    view.setData({hour.from, hour.to + 7 * s});
    QCOMPARE(view.visible().to, hour.to + 9 * s);
    QCOMPARE(view.statusText(), QStringLiteral("Following"));
    view.setSpan(0);
    QCOMPARE(view.visible().from, hour.from);
    QVERIFY(view.visible().to >= hour.to + 7 * s);
}

void TestPlotView::fillsFromTheLeft()
{
    PlotView view;
    view.setSpan(300 * s);
    view.setData({start, start + 10 * s});
    QCOMPARE(view.visible(), (TimeRange{start, start + 30 * s})); // a short recording is not a sliver at the edge
    view.setData({start, start + 40 * s});
    QCOMPARE(view.visible(), (TimeRange{start, start + 60 * s}));
    view.setData({start, start + 200 * s});
    QCOMPARE(view.visible(), (TimeRange{start, start + 300 * s}));
    view.setData({start, start + 299 * s});
    QCOMPARE(view.visible().to, start + 305 * s);
}

void TestPlotView::everyTimeStepPauses_data()
{
    QTest::addColumn<int>("step");
    for (int step = 0; step < 5; ++step)
        QTest::addRow("step %d", step) << step;
}

void TestPlotView::everyTimeStepPauses()
{
    QFETCH(int, step);
    PlotView view;
    view.setSpan(100 * s);
    view.setData(hour);
    const ValueSpan span{0, 10};
    switch (step) {
    case 0:
        view.zoomTime(0.5, 0.5, 0);
        break;
    case 1:
        view.panTime(-0.5, 0);
        break;
    case 2:
        view.setVisible({hour.from, hour.from + 60 * s}, 0);
        break;
    case 3:
        view.zoomTo({hour.from, hour.from + 60 * s}, &span, nullptr, 0);
        break;
    default:
        view.setFollowing(false);
        break;
    }
    QVERIFY(!view.isFollowing());
    QVERIFY(view.statusText().startsWith(QStringLiteral("Paused")));
    view.setFollowing(true);
    QCOMPARE(view.visible().to, hour.to + 2 * s);
}

void TestPlotView::pausedViewStandsStill()
{
    PlotView view;
    view.setSpan(100 * s);
    view.setData(hour);
    view.panTime(-0.16, 0); // 2 s of margin, then 14 s into the data
    const TimeRange before = view.visible();
    QCOMPARE(view.statusText(), QStringLiteral("Paused, 14 s behind - Follow (L)"));
    view.setData({hour.from, hour.to + 60 * s});
    QCOMPARE(view.visible(), before);
    QCOMPARE(view.statusText(), QStringLiteral("Paused, 1 min behind - Follow (L)"));
    // A zoomed value axis stands still, too.
    view.zoomValues(PlotView::Left, 0.5, 0.5, 0);
    const ValueSpan zoomed = view.values(PlotView::Left);
    view.setExtremes(PlotView::Left, -1000, 1000);
    QVERIFY(view.values(PlotView::Left) == zoomed);
}

void TestPlotView::zoomKeepsTheAnchor()
{
    PlotView view;
    view.setData(hour);
    view.setVisible(hour, 0);
    view.zoomTime(0.25, 0.5, 10000);
    QCOMPARE(view.visible().length(), 1800 * s);
    QCOMPARE(view.visible().from + view.visible().length() / 4, hour.from + 900 * s);
    view.zoomTime(0.25, 2.0, 20000);
    QCOMPARE(view.visible(), hour);
}

void TestPlotView::historyGoesBackAndForward()
{
    PlotView view;
    view.setData(hour);
    const TimeRange first = view.visible();
    QVERIFY(!view.canGoBack());
    // Quick wheel steps are one entry.
    for (int i = 0; i < 5; ++i)
        view.zoomTime(0.5, 0.8, 1000 + i * 100);
    const TimeRange second = view.visible();
    view.zoomTime(0.5, 0.8, 5000);
    view.goBack();
    QCOMPARE(view.visible(), second);
    view.goBack();
    QCOMPARE(view.visible(), first);
    QVERIFY(view.isFollowing());
    QVERIFY(!view.canGoBack());
    view.goForward();
    QCOMPARE(view.visible(), second);
    QVERIFY(view.canGoForward());
    view.panTime(0.1, 20000);
    QVERIFY(!view.canGoForward());
    for (int i = 0; i < 500; ++i)
        view.setVisible({hour.from, hour.from + s + quint64(i)}, i);
    int steps = 0;
    for (; view.canGoBack(); ++steps)
        view.goBack();
    QCOMPARE(steps, 100);
}

void TestPlotView::extremeInputStaysDrawable()
{
    PlotView view;
    view.setData({1, ~quint64(0)});
    QVERIFY(view.visible().length() <= PlotView::longest);
    view.setData(hour);
    for (int i = 0; i < 200; ++i)
        view.zoomTime(0.3, 0.5, 0);
    QCOMPARE(view.visible().length(), PlotView::shortest);
    for (int i = 0; i < 200; ++i)
        view.zoomTime(0.3, 2, 0);
    QVERIFY(view.visible().length() <= PlotView::longest);
    for (int i = 0; i < 50; ++i)
        view.panTime(-100, 0);
    QVERIFY(view.visible().to > hour.from); // never out of sight
    for (int i = 0; i < 50; ++i)
        view.panTime(100, 0);
    QVERIFY(view.visible().from < hour.to);
    view.setVisible({5, 5}, 0);
    QVERIFY(!view.visible().isEmpty());
}

void TestPlotView::valueAxes()
{
    PlotView view;
    view.setExtremes(PlotView::Left, 0, 500);
    QVERIFY(view.isAutomatic(PlotView::Left));
    QVERIFY(view.values(PlotView::Left).high >= 500);
    view.setValues(PlotView::Left, {100, 50}, 0);
    QVERIFY(!view.isAutomatic(PlotView::Left));
    QVERIFY(view.values(PlotView::Left) == (ValueSpan{50, 100}));
    QVERIFY(view.isAutomatic(PlotView::Right));
    view.panValues(PlotView::Left, 1, 5000);
    QVERIFY(view.values(PlotView::Left) == (ValueSpan{100, 150}));
    view.setAutomatic(PlotView::Left, 9000);
    view.setExtremes(PlotView::Left, 0, 500);
    QVERIFY(view.values(PlotView::Left).high >= 500);
    view.goBack();
    QVERIFY(view.values(PlotView::Left) == (ValueSpan{100, 150}));
}

QTEST_GUILESS_MAIN(TestPlotView)
#include "tst_plotview.moc"
