#include "data/valuetype.h"
#include "display/memorysource.h"
#include "display/plot/arcplotdisplay.h"
#include "display/plot/axisrangedialog.h"
#include "display/plot/banditem.h"
#include "display/plot/plotfigure.h"
#include "display/records/recordset.h"

#include <QApplication>
#include <QClipboard>
#include <QComboBox>
#include <QDialogButtonBox>
#include <QLabel>
#include <QLineEdit>
#include <QPointer>
#include <QPushButton>
#include <QSignalSpy>
#include <QTest>
#include <QToolButton>
#include <QWheelEvent>
#include <qwt_plot.h>
#include <qwt_plot_canvas.h>
#include <qwt_scale_widget.h>

class TestArcPlotDisplay : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();
    void drawsTheTrueExtremeAndTheGap();
    void hatchesWhatALostConnectionCost();
    void followsAndPauses();
    void wheelZoomsAtThePointerOrTheAxis();
    void dragPansAndShiftDrawsABox();
    void historyByKeys();
    void cursorsMeasure();
    void doubleClickSetsAnAxis();
    void legendHidesACurve();
    void legendShowsDashes();
    void hiddenPlotReadsNothing();
    void emptyStatesSayWhatNext();
    void eventsRespectTheFilterAndTheirMarkersAnswer();
    void quantitiesAndTimeModeAreChosenInTheBar();
    void pictureHasItsSizeAndTheme();

private:
    QwtPlot *plot() const { return m_display->findChild<QwtPlot *>(); }
    QWidget *canvas() const { return plot()->canvas(); }
    void wheel(QWidget *widget, const QPointF &at, int delta);
    void drag(const QPoint &from, const QPoint &to, Qt::KeyboardModifiers modifiers = Qt::NoModifier);
    void addSource(int samples = 3000);
    bool isDrawn(const QImage &image, quint64 time, double value) const;

    std::unique_ptr<Theme> m_theme;
    std::unique_ptr<arcPlotDisplay> m_display;
    std::shared_ptr<MemorySource> m_source;
};

namespace {
constexpr quint64 second = 1000000;
constexpr quint64 start = 1700000000 * second;
constexpr int patience = 20000; // ms
} // namespace

void TestArcPlotDisplay::init()
{
    m_theme = std::make_unique<Theme>(Theme::Kind::Light);
    m_display = std::make_unique<arcPlotDisplay>(*m_theme);
    m_display->resize(900, 500);
    m_display->show();
    QVERIFY(QTest::qWaitForWindowExposed(m_display.get()));
}

void TestArcPlotDisplay::cleanup()
{
    m_display.reset();
    m_source.reset();
}

void TestArcPlotDisplay::addSource(int samples)
{
    m_source = std::make_shared<MemorySource>();
    m_source->add(1, evenSamples(start, samples, second / 10, 300));
    QSignalSpy drawn(m_display.get(), &arcPlotDisplay::setCurrentDisplayWindow);
    m_display->addSensor(QStringLiteral("A"), QStringLiteral("A Chamber 1"), m_source, Theme::sensorColour(0));
    QTRY_VERIFY(!drawn.isEmpty());
    QTRY_VERIFY(m_source->reads > 0);
    QTest::qWait(150);
}

void TestArcPlotDisplay::wheel(QWidget *widget, const QPointF &at, int delta)
{
    QWheelEvent event(at, widget->mapToGlobal(at.toPoint()), QPoint(), QPoint(0, delta), Qt::NoButton, Qt::NoModifier,
                      Qt::NoScrollPhase, false);
    QApplication::sendEvent(widget, &event);
}

void TestArcPlotDisplay::drag(const QPoint &from, const QPoint &to, Qt::KeyboardModifiers modifiers)
{
    QTest::mousePress(canvas(), Qt::LeftButton, modifiers, from);
    for (int step = 1; step <= 4; ++step) {
        const QPointF at = from + (to - from) * step / 4.0;
        QMouseEvent move(QEvent::MouseMove, at, canvas()->mapToGlobal(at.toPoint()), Qt::NoButton, Qt::LeftButton,
                         modifiers);
        QApplication::sendEvent(canvas(), &move);
    }
    QTest::mouseRelease(canvas(), Qt::LeftButton, modifiers, to);
}

/// Whether the first sensor's colour is drawn within two pixels of a point.
bool TestArcPlotDisplay::isDrawn(const QImage &image, quint64 time, double value) const
{
    const QPointF point(plot()->canvasMap(QwtPlot::xBottom).transform(double(time)),
                        plot()->canvasMap(QwtPlot::yLeft).transform(value));
    if (!QRectF(image.rect()).contains(point))
        return false;
    for (int dx = -2; dx <= 2; ++dx)
        for (int dy = -2; dy <= 2; ++dy) {
            const QPoint at = point.toPoint() + QPoint(dx, dy);
            if (image.rect().contains(at) && image.pixelColor(at) == Theme::sensorColour(0))
                return true;
        }
    return false;
}

void TestArcPlotDisplay::drawsTheTrueExtremeAndTheGap()
{
    // One spike among 200,000 samples, and an hour without any.
    m_source = std::make_shared<MemorySource>();
    QVector<SamplePoint> samples = evenSamples(start, 200000, second / 10, 300);
    samples[77777].voltage = 900;
    samples[123456].voltage = -400;
    const quint64 spike = samples[77777].time;
    const quint64 dip = samples[123456].time;
    m_source->add(1, samples);
    const quint64 restart = samples.last().time + 3600 * second;
    m_source->add(2, evenSamples(restart, 50000, second / 10, 300));
    m_display->addSensor(QStringLiteral("A"), QStringLiteral("A"), m_source, Theme::sensorColour(0));
    m_display->showWholeRange();
    const auto picture = [this] { return canvas()->grab().toImage(); };
    QTRY_VERIFY_WITH_TIMEOUT(isDrawn(picture(), spike, 900) && isDrawn(picture(), restart + 100 * second, 303),
                             patience);
    const QImage image = picture();
    QVERIFY(isDrawn(image, dip, -400));
    QVERIFY(!isDrawn(image, spike, 950));
    QVERIFY(isDrawn(image, samples.last().time - 100 * second, 303));
    QVERIFY(!isDrawn(image, samples.last().time + 1800 * second, 303));
    QVERIFY(isDrawn(image, restart + 100 * second, 303));
    // The same place magnified: each sample is there, exactly.
    m_display->setVisibleRange({spike - second, spike + second});
    QTRY_VERIFY(isDrawn(picture(), spike, 900));
    QVERIFY(isDrawn(picture(), spike - 3 * second / 10, 300 + 77774 % 7));
}

void TestArcPlotDisplay::hatchesWhatALostConnectionCost()
{
    addSource();
    const QString serial = QStringLiteral("A");
    const auto hatched = [this] {
        QVector<TimeRange> ranges;
        for (const BandItem::Band &band : qobject_cast<PlotFigure *>(plot())->bands().bands())
            if (band.brush.style() == Qt::BDiagPattern)
                ranges.append(band.range);
        return ranges;
    };
    const quint64 last = start + 2999 * second / 10;
    m_display->setConnected(serial, false, last); // it never was connected
    QTest::qWait(150);
    QVERIFY(hatched().isEmpty());

    m_display->setConnected(serial, true, last);
    for (int tries = 0; tries < 3; ++tries)
        m_display->setConnected(serial, false, last);
    QTRY_COMPARE(hatched().size(), 1);
    QCOMPARE(hatched().first().from, last);
    m_display->setConnected(serial, true, last);
    m_source->add(2, evenSamples(last + 30 * second, 100, second / 10));
    QTRY_COMPARE(hatched().value(0).to, last + 30 * second);

    // The next time the sensor kept everything, so nothing is missing.
    const quint64 lastAgain = last + 30 * second + 99 * second / 10;
    m_display->setConnected(serial, false, lastAgain);
    QTRY_COMPARE(hatched().size(), 2);
    m_display->setConnected(serial, true, lastAgain);
    m_source->add(3, evenSamples(lastAgain + second / 10, 100, second / 10));
    QTRY_COMPARE(hatched().size(), 1);
}

void TestArcPlotDisplay::followsAndPauses()
{
    addSource();
    QSignalSpy following(m_display.get(), &arcPlotDisplay::followingChanged);
    auto *button = m_display->findChild<QToolButton *>(QStringLiteral("followButton"));
    QCOMPARE(button->text(), QStringLiteral("Following"));
    const TimeRange before = m_display->visibleRange();
    m_source->add(1, evenSamples(start + 300 * second, 50, second / 10));
    QTRY_VERIFY(m_display->visibleRange().to > before.to);

    QTest::keyClick(m_display.get(), Qt::Key_Space);
    QVERIFY(!m_display->isFollowing());
    const TimeRange paused = m_display->visibleRange();
    m_source->add(1, evenSamples(start + 305 * second, 300, second / 10));
    QTRY_VERIFY(button->text().startsWith(QStringLiteral("Paused, ")));
    QCOMPARE(m_display->visibleRange(), paused);
    QTest::keyClick(m_display.get(), Qt::Key_L);
    QVERIFY(m_display->isFollowing());
    QTRY_COMPARE(following.count(), 2);
    // A preset follows again, too.
    QTest::keyClick(m_display.get(), Qt::Key_Left);
    QVERIFY(!m_display->isFollowing());
    m_display->findChild<QToolButton *>(QStringLiteral("span0"))->click();
    QVERIFY(m_display->isFollowing());
    QCOMPARE(m_display->span(), 30 * second);
    QCOMPARE(m_display->visibleRange().length(), 30 * second);
}

void TestArcPlotDisplay::wheelZoomsAtThePointerOrTheAxis()
{
    addSource();
    const TimeRange before = m_display->visibleRange();
    const double x = canvas()->width() * 0.25;
    const double anchor = plot()->canvasMap(QwtPlot::xBottom).invTransform(x);
    wheel(canvas(), {x, 50}, 120);
    QVERIFY(m_display->visibleRange().length() < before.length());
    QTRY_VERIFY(std::abs(plot()->canvasMap(QwtPlot::xBottom).invTransform(x) - anchor) < double(before.length()) / 400);

    const TimeRange zoomed = m_display->visibleRange();
    const QwtInterval values = plot()->axisInterval(QwtPlot::yLeft);
    QWidget *axis = plot()->axisWidget(QwtPlot::yLeft);
    wheel(axis, {5, axis->height() / 2.0}, 120);
    QTRY_VERIFY(plot()->axisInterval(QwtPlot::yLeft).width() < values.width());
    QCOMPARE(m_display->visibleRange(), zoomed);
}

void TestArcPlotDisplay::dragPansAndShiftDrawsABox()
{
    addSource();
    const TimeRange before = m_display->visibleRange();
    drag({400, 100}, {500, 100});
    const TimeRange panned = m_display->visibleRange();
    QVERIFY(panned.from < before.from);
    QCOMPARE(panned.length(), before.length());
    QTest::qWait(50);
    const QwtScaleMap map = plot()->canvasMap(QwtPlot::xBottom);
    const auto left = quint64(map.invTransform(300));
    const auto right = quint64(map.invTransform(500));
    drag({300, 120}, {500, 220}, Qt::ShiftModifier);
    const TimeRange boxed = m_display->visibleRange();
    QVERIFY(boxed.from >= left - second && boxed.from <= left + second);
    QVERIFY(boxed.to >= right - second && boxed.to <= right + second);
    // A click is no drag.
    QTest::mouseClick(canvas(), Qt::LeftButton, Qt::NoModifier, {200, 200});
    QCOMPARE(m_display->visibleRange(), boxed);
}

void TestArcPlotDisplay::historyByKeys()
{
    addSource();
    const TimeRange first = m_display->visibleRange();
    QTest::keyClick(m_display.get(), Qt::Key_Plus);
    const TimeRange lastAgain = m_display->visibleRange();
    QVERIFY(lastAgain.length() < first.length());
    QTest::keyClick(m_display.get(), Qt::Key_Left, Qt::AltModifier);
    QCOMPARE(m_display->visibleRange(), first);
    QTest::keyClick(m_display.get(), Qt::Key_Right, Qt::AltModifier);
    QCOMPARE(m_display->visibleRange(), lastAgain);
    QTest::keyClick(m_display.get(), Qt::Key_Home);
    QVERIFY(m_display->visibleRange().from <= start);
    QCOMPARE(m_display->span(), quint64(0));
}

void TestArcPlotDisplay::cursorsMeasure()
{
    addSource();
    QSignalSpy frame(m_display.get(), &arcPlotDisplay::timeFrameSelected);
    QSignalSpy back(m_display.get(), &arcPlotDisplay::returnToNormalMode);
    m_display->setVisibleRange({start + 10 * second, start + 40 * second});
    QTest::qWait(50);
    QTest::keyClick(m_display.get(), Qt::Key_1);
    QVERIFY(frame.isEmpty());
    QTest::keyClick(m_display.get(), Qt::Key_2);
    QCOMPARE(frame.count(), 1);
    QVERIFY(m_display->cursorRange());
    QCOMPARE(m_display->cursorRange()->length(), 10 * second);
    m_display->findChild<QToolButton *>(QStringLiteral("copyCursors"))->click();
    const QString copied = QApplication::clipboard()->text();
    QVERIFY2(copied.contains(QStringLiteral("10.000000 s")), qPrintable(copied));
    QVERIFY2(copied.contains(QStringLiteral("100.0 mHz")), qPrintable(copied));
    const QStringList cells = copied.trimmed().section(QLatin1Char('\n'), -1).split(QLatin1Char('\t'));
    QCOMPARE(cells.value(0), QStringLiteral("Voltage"));
    QCOMPARE(cells.value(4), QStringLiteral("300.0 V"));
    QCOMPARE(cells.value(5), QStringLiteral("306.0 V"));
    QCOMPARE(cells.value(8), QStringLiteral("100"));
    QTest::keyClick(m_display.get(), Qt::Key_Escape);
    QVERIFY(!m_display->cursorRange());
    QCOMPARE(frame.count(), 2);
    QCOMPARE(frame.last(), QVariantList({quint64(0), quint64(0)}));
    QVERIFY(back.isEmpty());
    QTest::keyClick(m_display.get(), Qt::Key_Escape);
    QCOMPARE(back.count(), 1);
}

void TestArcPlotDisplay::doubleClickSetsAnAxis()
{
    addSource();
    QWidget *axis = plot()->axisWidget(QwtPlot::yLeft);
    QTest::mouseDClick(axis, Qt::LeftButton, Qt::NoModifier, {5, 100});
    QPointer<ValueRangeDialog> dialog = m_display->findChild<ValueRangeDialog *>();
    QVERIFY(dialog);
    auto *low = dialog->findChild<QLineEdit *>(QStringLiteral("lowest"));
    auto *high = dialog->findChild<QLineEdit *>(QStringLiteral("highest"));
    low->setText(QStringLiteral("500"));
    high->setText(QStringLiteral("x"));
    QVERIFY(!dialog->findChild<QDialogButtonBox *>()->button(QDialogButtonBox::Ok)->isEnabled());
    low->setText(QStringLiteral("-50"));
    high->setText(QStringLiteral("450.5"));
    dialog->accept();
    QTRY_COMPARE(plot()->axisInterval(QwtPlot::yLeft), QwtInterval(-50, 450.5));
    QTRY_VERIFY(!dialog);
    QTest::mouseDClick(axis, Qt::LeftButton, Qt::NoModifier, {5, 100});
    m_display->findChild<ValueRangeDialog *>()->findChild<QPushButton *>(QStringLiteral("automatic"))->click();
    QTRY_VERIFY(plot()->axisInterval(QwtPlot::yLeft) != QwtInterval(-50, 450.5));
}

void TestArcPlotDisplay::legendHidesACurve()
{
    addSource();
    m_display->setQuantities(Voltage, Current);
    QTRY_COMPARE(m_display->findChildren<QToolButton *>(QStringLiteral("legendEntry")).size(), 2);
    const auto items = [this] { return plot()->itemList(QwtPlotItem::Rtti_PlotUserItem + 1).size(); };
    QTRY_COMPARE(items(), 2);
    m_display->findChildren<QToolButton *>(QStringLiteral("legendEntry")).first()->click();
    QTRY_COMPARE(items(), 1);
    QTRY_VERIFY(!m_display->findChildren<QToolButton *>(QStringLiteral("legendEntry")).first()->isChecked());
    m_display->findChildren<QToolButton *>(QStringLiteral("legendEntry")).first()->click();
    QTRY_COMPARE(items(), 2);
}

/// The seventh sensor has the colour of the first.
void TestArcPlotDisplay::legendShowsDashes()
{
    m_source = std::make_shared<MemorySource>();
    m_source->add(1, evenSamples(start, 100, second));
    for (int i = 0; i < 7; ++i)
        m_display->addSensor(QString::number(i), QString::number(i), m_source, Theme::sensorColour(i));
    const auto entries = [this] { return m_display->findChildren<QToolButton *>(QStringLiteral("legendEntry")); };
    QTRY_COMPARE(entries().size(), 7);
    const auto gaps = [](const QToolButton *entry) {
        const QImage line = entry->icon().pixmap(entry->iconSize()).toImage();
        int found = 0;
        for (int x = 1; x < line.width() - 6; ++x)
            found +=
                qAlpha(line.pixel(x - 1, line.height() / 2)) > 128 && qAlpha(line.pixel(x, line.height() / 2)) < 128;
        return found;
    };
    QCOMPARE(gaps(entries().first()), 0);
    QVERIFY(gaps(entries().last()) >= 2); // one at the end of the line is not seen
}

void TestArcPlotDisplay::hiddenPlotReadsNothing()
{
    m_display->hide();
    m_source = std::make_shared<MemorySource>();
    m_source->add(1, evenSamples(start, 100, second));
    m_display->addSensor(QStringLiteral("A"), QStringLiteral("A"), m_source, Theme::sensorColour(0));
    QTest::qWait(250);
    QCOMPARE(m_source->reads.load(), 0);
    m_display->show();
    QTRY_COMPARE(m_source->reads.load(), 1);
    // Nothing new, nothing drawn: the window is not announced again.
    QTest::qWait(200);
    QSignalSpy drawn(m_display.get(), &arcPlotDisplay::setCurrentDisplayWindow);
    QTest::qWait(250);
    QVERIFY(drawn.isEmpty());
    QCOMPARE(m_source->reads.load(), 1);
}

void TestArcPlotDisplay::emptyStatesSayWhatNext()
{
    auto *text = m_display->findChild<QLabel *>(QStringLiteral("emptyText"));
    auto *button = m_display->findChild<QPushButton *>(QStringLiteral("emptyButton"));
    QSignalSpy clicked(m_display.get(), &arcPlotDisplay::emptyStateButtonClicked);
    QTRY_VERIFY(text->isVisible());
    QVERIFY(text->text().startsWith(QStringLiteral("No sensor")));
    QCOMPARE(button->text(), QStringLiteral("Connect To Sensor"));
    button->click();
    QCOMPARE(clicked.count(), 1);
    m_display->setEmptyState(QStringLiteral("Open a session"), QStringLiteral("Open"));
    QTRY_COMPARE(text->text(), QStringLiteral("Open a session"));
    m_display->setEmptyState(QString());

    auto source = std::make_shared<MemorySource>();
    m_display->addSensor(QStringLiteral("A"), QStringLiteral("A"), source, Theme::sensorColour(0));
    QTRY_VERIFY(text->text().startsWith(QStringLiteral("No data yet")));
    QVERIFY(!button->isVisible());
    source->add(1, evenSamples(start, 100, second));
    QTRY_VERIFY(!text->isVisible());
    m_display->setSensorVisible(QStringLiteral("A"), false);
    QTRY_VERIFY(text->isVisible());
    QVERIFY(text->text().startsWith(QStringLiteral("No sensor is switched on")));
    m_display->setSensorVisible(QStringLiteral("A"), true);
    QTRY_VERIFY(!text->isVisible());
    m_display->findChild<QToolButton *>(QStringLiteral("legendEntry"))->click();
    QTRY_VERIFY(text->isVisible());
    QCOMPARE(button->text(), QStringLiteral("Show All Curves"));
    button->click();
    QTRY_VERIFY(!text->isVisible());
    QCOMPARE(clicked.count(), 1);
}

void TestArcPlotDisplay::eventsRespectTheFilterAndTheirMarkersAnswer()
{
    addSource();
    QVector<EventRecord> events(5);
    for (int i = 0; i < events.size(); ++i) {
        events[i].time = start + quint64(50 + i * 40) * second;
        events[i].typeCode = i;
    }
    QSignalSpy activated(m_display.get(), &arcPlotDisplay::eventActivated);
    m_display->setEventLooks([](const QString &name) { return EventLook{QColor(), name != QLatin1String("E13")}; });
    m_display->setRecords(QStringLiteral("A"), std::make_shared<const RecordSet>(recordsOf(events, {})));
    m_display->showWholeRange();
    const auto clickAt = [this](quint64 time) {
        const double x = plot()->canvasMap(QwtPlot::xBottom).transform(double(time));
        QTest::mouseClick(canvas(), Qt::LeftButton, Qt::NoModifier, QPoint(qRound(x), 8));
    };
    const auto answers = [&] { // once the markers are drawn
        activated.clear();
        clickAt(start + 90 * second);
        return activated.count() == 1 && activated.last().at(1).toULongLong() == start + 90 * second;
    };
    QTRY_VERIFY_WITH_TIMEOUT(answers(), patience);
    QCOMPARE(activated.last().at(2).toInt(), 1);
    clickAt(start + 130 * second); // filtered out
    QCOMPARE(activated.count(), 1);
    // N goes from one to the next.
    m_display->setVisibleRange({start, start + 60 * second});
    QTest::keyClick(m_display.get(), Qt::Key_N);
    const TimeRange at = m_display->visibleRange();
    QCOMPARE(at.from + at.length() / 2, start + 50 * second);
}

void TestArcPlotDisplay::quantitiesAndTimeModeAreChosenInTheBar()
{
    addSource();
    QSignalSpy quantities(m_display.get(), &arcPlotDisplay::quantitiesChanged);
    QSignalSpy modes(m_display.get(), &arcPlotDisplay::timeModeChanged);
    auto *right = m_display->findChild<QComboBox *>(QStringLiteral("rightQuantity"));
    QCOMPARE(right->count(), valueTypeCount + 1);
    right->setCurrentIndex(2);
    emit right->activated(2);
    QCOMPARE(m_display->rightQuantity(), int(Current));
    QCOMPARE(quantities.count(), 1);
    QTRY_COMPARE(plot()->axisTitle(QwtPlot::yRight).text(), QStringLiteral("Current [A]"));
    auto *mode = m_display->findChild<QComboBox *>(QStringLiteral("timeMode"));
    mode->setCurrentIndex(2);
    emit mode->activated(2);
    QCOMPARE(int(m_display->timeMode()), int(TimeMode::Elapsed));
    QCOMPARE(modes.count(), 1);
    QTRY_VERIFY(plot()->axisTitle(QwtPlot::xBottom).text().startsWith(QStringLiteral("Elapsed")));
    m_display->setQuantities(99, -7); // nonsense falls back
    QCOMPARE(m_display->leftQuantity(), int(Voltage));
    QCOMPARE(m_display->rightQuantity(), arcPlotDisplay::noQuantity);
}

void TestArcPlotDisplay::pictureHasItsSizeAndTheme()
{
    addSource();
    const TimeRange visible = m_display->visibleRange();
    const QImage light = m_display->renderImage({640, 320}, 2.0);
    QCOMPARE(light.size(), QSize(1280, 640));
    QVERIFY(light.pixelColor(2, 2).lightness() > 200);
    bool curve = false;
    for (int x = 0; x < light.width() && !curve; ++x)
        for (int y = 0; y < light.height() && !curve; ++y)
            curve = light.pixelColor(x, y) == Theme::sensorColour(0);
    QVERIFY(curve);
    const QImage dark = m_display->renderImage({640, 320}, 1.0, Theme::Kind::Dark);
    QVERIFY(dark.pixelColor(2, 2).lightness() < 80);
    QCOMPARE(m_display->visibleRange(), visible);
}

QTEST_MAIN(TestArcPlotDisplay)
#include "tst_arcplotdisplay.moc"
