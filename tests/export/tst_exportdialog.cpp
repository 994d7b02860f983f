#include "base/widgetprompts.h"
#include "export/csvexport.h"
#include "export/exportdialog.h"
#include "export/exportevents.h"
#include "export/exportflow.h"
#include "export/imageexport.h"
#include "fakestore.h"
#include "support/fakeprompts.h"

#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QDateTimeEdit>
#include <QDialogButtonBox>
#include <QFile>
#include <QFileDialog>
#include <QImage>
#include <QImageReader>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTimer>
#include <QtTest>
#include <qwt_plot.h>
#include <qwt_plot_picker.h>

namespace {

constexpr quint64 start = 1600000000000000; // 2020-09-13 12:26:40 UTC
constexpr quint64 second = 1000000;

} // namespace

class TestExportDialog : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void theWholeRecordingIsOfferedFirst();
    void theRangeIsDraggedOnThePlot();
    void rangesAtHand();
    void tooManyEvents_data();
    void tooManyEvents();
    void waveformsAreReadOnce();
    void choicesAreKept();
    void settingsThatMakeNoSense();
    void whatIsAskedAndWritten();
    void cancelledWritesNothing_data();
    void cancelledWritesNothing();
    void oneFileCannotBeWritten();
    void aRangeWithNothing();
    void aSensorWithNothing();
    void anEventAfterTheNewestSample();
    void theProgramEndsMeanwhile();
    void picturesFollowTheNameAlone_data();
    void picturesFollowTheNameAlone();
    void aNameWithoutSuffixGetsThatOfTheFilter_data();
    void aNameWithoutSuffixGetsThatOfTheFilter();

private:
    exportDialog::Setup setup();
    std::unique_ptr<exportDialog> dialog();
    bool run(const std::function<void(exportDialog &)> &act);
    QString path(const QString &name) const { return m_folder->filePath(name); }
    static QByteArray content(const QString &path);

    std::shared_ptr<FakeStore> m_store;
    std::unique_ptr<QTemporaryDir> m_folder;
    FakePrompts m_prompts;
    QVariantMap m_settings;
};

template <typename T>
static T *control(const QWidget &dialog, const char *name)
{
    return dialog.findChild<T *>(QLatin1String(name));
}

static void ok(exportDialog &dialog)
{
    dialog.findChild<QDialogButtonBox *>()->button(QDialogButtonBox::Ok)->click();
}

void TestExportDialog::init()
{
    m_store = std::make_shared<FakeStore>();
    for (quint64 i = 0; i < 100; ++i)
        m_store->addSample(start + i * second + 7, 100 + double(i), 3, 4);
    m_store->addEvent(start + 10 * second, eventtype::E11, 3);
    m_store->addEvent(start + 20 * second, eventtype::E22, 2);
    m_store->addRun(start + 5 * second, start + 50 * second, 123.5);
    m_folder = std::make_unique<QTemporaryDir>();
    m_prompts = FakePrompts();
    m_settings.clear();
}

exportDialog::Setup TestExportDialog::setup()
{
    exportDialog::Setup setup;
    setup.filter.eventTypes = eventtype::names();
    setup.curveColour = Qt::blue;
    setup.setting = [this](const QString &key, const QVariant &fallback) { return m_settings.value(key, fallback); };
    setup.keepSetting = [this](const QString &key, const QVariant &value) { m_settings[key] = value; };
    return setup;
}

std::unique_ptr<exportDialog> TestExportDialog::dialog()
{
    return std::make_unique<exportDialog>(m_store, m_store->firstTime(), m_store->lastTime(), setup(), m_prompts);
}

/// Runs the whole flow; `act` drives the dialog once it is open.
bool TestExportDialog::run(const std::function<void(exportDialog &)> &act)
{
    QTimer::singleShot(0, qApp, [&] {
        for (QWidget *window : QApplication::topLevelWidgets()) {
            if (auto *open = qobject_cast<exportDialog *>(window))
                act(*open);
        }
    });
    return ExportFlow(m_store, m_folder->path(), m_prompts).run(nullptr, setup());
}

QByteArray TestExportDialog::content(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

void TestExportDialog::theWholeRecordingIsOfferedFirst()
{
    const auto open = dialog();
    const auto *editor = control<QDateTimeEdit>(*open, "startDateTime");
    QCOMPARE(editor->displayFormat(), QStringLiteral("dd-MM-yyyy HH:mm:ss.zzz"));
    QCOMPARE(editor->text(), QStringLiteral("13-09-2020 14:26:40.000")); // local: the tests run in Berlin
    QCOMPARE(open->rangeStart(), start);                                 // whole milliseconds
    QCOMPARE(open->rangeEnd(), start + 99 * second);
    QVERIFY(open->isEndUntouched());
    QCOMPARE(open->delimiter(), QChar(u';'));
    QVERIFY(open->exportEvents() && open->exportRfOn());
    QVERIFY(control<QLabel>(*open, "lb_summary")->text().startsWith(QStringLiteral("2 events")));
    control<QDateTimeEdit>(*open, "endDateTime")->setDateTime(QDateTime::fromMSecsSinceEpoch(start / 1000 + 15000));
    QCOMPARE(open->rangeEnd(), start + 15 * second);
    QVERIFY(!open->isEndUntouched());
    QVERIFY(control<QLabel>(*open, "lb_summary")->text().startsWith(QStringLiteral("1 events")));
}

void TestExportDialog::theRangeIsDraggedOnThePlot()
{
    const auto open = dialog();
    open->show();
    QVERIFY(QTest::qWaitForWindowExposed(open.get()));
    auto *plot = open->findChild<QwtPlot *>();
    QWidget *const canvas = plot->canvas();
    const auto x = [&](quint64 us) { return qRound(plot->canvasMap(QwtPlot::xBottom).transform(double(us) / 1000)); };
    const QPoint from(x(start + 20 * second), canvas->height() / 3);
    const QPoint to(x(start + 60 * second), canvas->height() / 2);
    QTest::mousePress(canvas, Qt::LeftButton, {}, from);
    QMouseEvent move(QEvent::MouseMove, to, canvas->mapToGlobal(to), Qt::NoButton, Qt::LeftButton, {});
    QApplication::sendEvent(canvas, &move);
    QTest::mouseRelease(canvas, Qt::LeftButton, {}, to);
    const auto near = [](quint64 got, quint64 wanted) { return qAbs(double(got) - double(wanted)) < double(second); };
    QVERIFY2(near(open->rangeStart(), start + 20 * second), qPrintable(QString::number(open->rangeStart())));
    QVERIFY2(near(open->rangeEnd(), start + 60 * second), qPrintable(QString::number(open->rangeEnd())));
    open->updateSelection(QRectF(0, 0, 1e18, 1)); // over the ends: what was recorded
    QCOMPARE(open->rangeStart(), start);
    QCOMPARE(open->rangeEnd(), start + 99 * second);
    open->updateSelection(QRectF(QPointF(double(start) / 1000 + 30000, 0), QPointF(double(start) / 1000 + 10000, 1)));
    QVERIFY(open->rangeStart() < open->rangeEnd()); // dragged to the left
}

void TestExportDialog::rangesAtHand()
{
    exportDialog::Setup with = setup();
    with.visible = exportDialog::Range{start + second, start + 3 * second};
    exportDialog open(m_store, m_store->firstTime(), m_store->lastTime(), with, m_prompts);
    QVERIFY(!control<QPushButton>(open, "b_cursorRange")->isEnabled());
    QVERIFY(!control<QPushButton>(open, "b_cursorRange")->toolTip().isEmpty());
    control<QPushButton>(open, "b_visibleRange")->click();
    QCOMPARE(open.rangeStart(), start + second);
    QCOMPARE(open.rangeEnd(), start + 3 * second);
    control<QPushButton>(open, "b_wholeRange")->click();
    QVERIFY(open.isEndUntouched());
}

void TestExportDialog::tooManyEvents_data()
{
    QTest::addColumn<int>("events");
    QTest::addColumn<bool>("exported");
    QTest::addColumn<bool>("accepted");
    QTest::newRow("exactly 475") << 475 << true << true;
    QTest::newRow("476") << 476 << true << false;
    QTest::newRow("476, not exported") << 476 << false << true;
}

void TestExportDialog::tooManyEvents()
{
    QFETCH(int, events);
    QFETCH(bool, exported);
    QFETCH(bool, accepted);
    for (int i = m_store->events.size(); i < events; ++i)
        m_store->addEvent(start + 30 * second + quint64(i), eventtype::E33, 0);
    m_store->addEvent(start + 40 * second, eventtype::Snapshot, 0);
    exportDialog::Setup with = setup();
    with.filter.eventTypes.removeAll(eventtype::name(eventtype::Snapshot)); // what the filter hides does not count
    exportDialog open(m_store, m_store->firstTime(), m_store->lastTime(), with, m_prompts);
    open.show();
    control<QCheckBox>(open, "cb_exportEvents")->setChecked(exported);
    ok(open);
    QCOMPARE(open.isVisible(), !accepted);
    QCOMPARE(m_prompts.shown.size(), accepted ? 0 : 1);
    QCOMPARE(m_settings.isEmpty(), !accepted);
    if (!accepted)
        QCOMPARE(m_prompts.shown.first(),
                 QStringLiteral("warn|Excessive number of events|You are attempting to export 476 events, which will "
                                "write more than 962 rows to the CSV result file.\n Excel and Openoffice have a limit "
                                "of 1024 columns and won't open this file\n current export limit is 475 events per "
                                "export.\n Please use the graphical selection tool, or toggle off certain events type "
                                "to reduce the number of selected events."));
}

/// Types of the user are told by the waveforms, each in a file of its own.
void TestExportDialog::waveformsAreReadOnce()
{
    m_store->addEvent(start + 30 * second, eventtype::E33, 30); // rises by 29 V
    eventType strong;
    strong.name = QStringLiteral("strong");
    strong.magnitude = 20;
    exportDialog::Setup with = setup();
    with.filter.userTypes = {strong};
    with.filter.disabledTypes = QStringList{strong.name};
    exportDialog open(m_store, m_store->firstTime(), m_store->lastTime(), with, m_prompts);
    const auto *summary = control<QLabel>(open, "lb_summary");
    QVERIFY(summary->text().startsWith(QStringLiteral("Counting")));
    ok(open);
    QCOMPARE(open.result(), int(QDialog::Rejected)); // it waits for the count
    QTRY_COMPARE_WITH_TIMEOUT(open.result(), int(QDialog::Accepted), 20000);
    QVERIFY2(summary->text().startsWith(QStringLiteral("2 events")), qPrintable(summary->text()));
    QCOMPARE(m_store->waveformReads.loadAcquire(), 3);
    control<QDateTimeEdit>(open, "endDateTime")->setDateTime(QDateTime::fromMSecsSinceEpoch(start / 1000 + 15000));
    QVERIFY(summary->text().startsWith(QStringLiteral("1 events")));
    ExportRequest request = with.filter;
    request.to = start + 99 * second;
    request.knownNames = open.knownNames();
    QCOMPARE(ExportEvents(*m_store, request).count(), 2);
    QCOMPARE(m_store->waveformReads.loadAcquire(), 3);
}

void TestExportDialog::choicesAreKept()
{
    auto open = dialog();
    control<QRadioButton>(*open, "rb_delimiter2")->click();
    control<QCheckBox>(*open, "cb_exportRfOn")->click();
    ok(*open);
    QCOMPARE(m_settings.value(QStringLiteral("exportDialog/delimiter")).toString(), QStringLiteral("\t"));
    QCOMPARE(m_settings.value(QStringLiteral("exportDialog/ExportEvents")).toBool(), true);
    QCOMPARE(m_settings.value(QStringLiteral("exportDialog/ExportRFON")).toBool(), false);
    open = dialog();
    QCOMPARE(open->delimiter(), QChar(u'\t'));
    QVERIFY(open->exportEvents() && !open->exportRfOn());
}

void TestExportDialog::settingsThatMakeNoSense()
{
    m_settings[QStringLiteral("exportDialog/delimiter")] = QStringLiteral("<tab>");
    m_settings[QStringLiteral("exportDialog/ExportEvents")] = QVariantList{1, 2};
    QCOMPARE(dialog()->delimiter(), QChar(u';'));
}

void TestExportDialog::whatIsAskedAndWritten()
{
    m_store->chamber = QStringLiteral("Etch/1");
    m_prompts.paths = QStringList{path(QStringLiteral("run.csv"))};
    QVERIFY(run([](exportDialog &open) {
        control<QRadioButton>(open, "rb_delimiter1")->click();
        ok(open);
    }));
    const QStringList shown = m_prompts.takeShown();
    QCOMPARE(shown.size(), 1);
    const QRegularExpression proposal(
        QStringLiteral("^save\\|Kindly enter export file TAG\\|%1/Exports/nor-\\d{4}_\\d\\d_\\d\\d_\\d{4}\\.vi\\.csv$")
            .arg(QRegularExpression::escape(m_folder->path())));
    QVERIFY2(proposal.match(shown.first()).hasMatch(), qPrintable(shown.first()));
    QVERIFY(QFileInfo(path(QStringLiteral("Exports"))).isDir());
    QCOMPARE(m_settings.value(QStringLiteral("Etch_1-NX-0042/lastfile")).toString(), path(QStringLiteral("run.csv")));
    QCOMPARE(m_settings.value(QStringLiteral("exportDialog/TotPoints")).toInt(), 100);
    const QByteArray vi = content(path(QStringLiteral("run.csv")));
    QVERIFY(vi.contains("\nTotal Context Points,100\n")); // the newest sample is among them
    QVERIFY(vi.endsWith("00.0007,199,5,\n") || vi.endsWith("19.0007,199,5,\n"));
    QVERIFY(content(path(QStringLiteral("run.events.csv"))).contains("\nEvent Summary\n"));
    QVERIFY(content(path(QStringLiteral("run.rfon.csv"))).contains(",123.5,"));
}

void TestExportDialog::cancelledWritesNothing_data()
{
    QTest::addColumn<bool>("atTheDialog");
    QTest::newRow("at the dialog") << true;
    QTest::newRow("at the file name") << false;
}

void TestExportDialog::cancelledWritesNothing()
{
    QFETCH(bool, atTheDialog);
    QVERIFY(!run([&](exportDialog &open) { atTheDialog ? open.reject() : ok(open); }));
    QCOMPARE(m_prompts.shown.size(), atTheDialog ? 0 : 1);
    QCOMPARE(QDir(m_folder->path()).entryList(QDir::Files), QStringList());
    QVERIFY(!m_settings.contains(QStringLiteral("Chamber A-NX-0042/lastfile")));
}

void TestExportDialog::oneFileCannotBeWritten()
{
    QVERIFY(QDir(m_folder->path()).mkdir(QStringLiteral("run.events.csv"))); // in the way
    m_prompts.paths = QStringList{path(QStringLiteral("run.vi.csv"))};
    QVERIFY(!run(ok));
    QCOMPARE(m_prompts.shown.size(), 2);
    QCOMPARE(m_prompts.shown.last(), QStringLiteral("warn|Unable to create file|Unable to create file:") +
                                         path(QStringLiteral("run.events.csv")));
    QVERIFY(content(path(QStringLiteral("run.vi.csv"))).contains("Total Context Points;100"));
    QVERIFY(content(path(QStringLiteral("run.rfon.csv"))).contains("RF-ON Details"));
}

void TestExportDialog::aRangeWithNothing()
{
    m_prompts.paths = QStringList{path(QStringLiteral("none.vi.csv"))};
    QVERIFY(run([](exportDialog &open) {
        const QDateTime before = QDateTime::fromMSecsSinceEpoch(start / 1000 - 5000);
        control<QDateTimeEdit>(open, "startDateTime")->setDateTime(before);
        control<QDateTimeEdit>(open, "endDateTime")->setDateTime(before.addSecs(1));
        ok(open);
    }));
    const QByteArray vi = content(path(QStringLiteral("none.vi.csv")));
    QVERIFY(vi.endsWith("Total Context Points;0\nTotal Events;0\n\n"));
    for (const char *other : {"none.rfon.csv", "none.events.csv"})
        QVERIFY(content(path(QLatin1String(other))).endsWith("Total Events;0\n\n"));
    QCOMPARE(m_prompts.takeShown().size(), 1);
}

void TestExportDialog::aSensorWithNothing()
{
    m_store = std::make_shared<FakeStore>();
    m_prompts.paths = QStringList{path(QStringLiteral("none.vi.csv"))};
    QVERIFY(run([](exportDialog &open) {
        QCOMPARE(control<QDateTimeEdit>(open, "startDateTime")->text(), QStringLiteral("nothing recorded"));
        ok(open);
    }));
    for (const char *file : {"none.vi.csv", "none.rfon.csv", "none.events.csv"})
        QVERIFY(content(path(QLatin1String(file))).endsWith("Total Context Points;0\nTotal Events;0\n\n"));
}

void TestExportDialog::anEventAfterTheNewestSample()
{
    m_store->addEvent(start + 150 * second + 900, eventtype::E33, 0);
    m_prompts.paths = QStringList{path(QStringLiteral("run.vi.csv"))};
    QVERIFY(run([](exportDialog &open) {
        QCOMPARE(open.rangeEnd(), start + 150 * second);
        QVERIFY(control<QLabel>(open, "lb_summary")->text().startsWith(QStringLiteral("3 events")));
        ok(open);
    }));
    QVERIFY(content(path(QStringLiteral("run.vi.csv"))).contains("Total Context Points;100\nTotal Events;3\n"));
}

void TestExportDialog::theProgramEndsMeanwhile()
{
    bool seen = false;
    for (int i = 0; i < 300000; ++i) // long enough to be seen
        m_store->addSample(start + 100 * second + quint64(i), 1);
    m_prompts.paths = QStringList{path(QStringLiteral("cut.vi.csv"))};
    QTimer closer;
    connect(&closer, &QTimer::timeout, qApp, [&] {
        QWidget *const inFront = QApplication::activeModalWidget();
        if (inFront && inFront->windowTitle() == QLatin1String("Norvex Export Data")) {
            seen = true;
            QVERIFY(NestedLoop::isAnyRunning());
            inFront->close();
        }
    });
    const bool written = run([&](exportDialog &open) {
        ok(open);
        closer.start(0);
    });
    QVERIFY(seen);
    QVERIFY(!written);
    QVERIFY(!NestedLoop::isAnyRunning());
    QCOMPARE(QDir(m_folder->path()).entryList(QDir::Files), QStringList()); // no half of a file
}

void TestExportDialog::picturesFollowTheNameAlone_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QByteArray>("magic");
    QTest::newRow("png") << QStringLiteral("a.png") << QByteArray("\x89PNG");
    QTest::newRow("jpeg wins") << QStringLiteral("a.png.jpeg") << QByteArray("\xff\xd8");
    QTest::newRow("bmp") << QStringLiteral("a.bmp") << QByteArray("BM");
    QTest::newRow("tif") << QStringLiteral("a.tif") << QByteArray();
    QTest::newRow("folder says png") << QStringLiteral("b.png.d/a.bmp") << QByteArray("BM");
}

void TestExportDialog::picturesFollowTheNameAlone()
{
    QFETCH(QString, name);
    QFETCH(QByteArray, magic);
    QDir(m_folder->path()).mkdir(QStringLiteral("b.png.d"));
    m_prompts.paths = QStringList{path(name)};
    const bool saved = imageexport::saveImage(nullptr, m_prompts, path(QStringLiteral("Exports")), [] {
        QImage image(8, 8, QImage::Format_RGB32);
        image.fill(Qt::red);
        return image;
    });
    QCOMPARE(saved, !magic.isEmpty());
    QCOMPARE(QFile::exists(path(name)), saved);
    QVERIFY(content(path(name)).startsWith(magic));
    static QString proposed; // the same for every picture of a program's run
    const QString shown = m_prompts.takeShown().first();
    QVERIFY(proposed.isEmpty() || shown == proposed);
    proposed = shown;
}

void TestExportDialog::aNameWithoutSuffixGetsThatOfTheFilter_data()
{
    QTest::addColumn<int>("filter"); // how often it is changed
    QTest::addColumn<QString>("typed");
    QTest::addColumn<QString>("made");
    QTest::addColumn<QByteArray>("format");
    QTest::newRow("the first filter") << 0 << QStringLiteral("x") << QStringLiteral("x.png") << QByteArray("png");
    QTest::newRow("JPEG") << 1 << QStringLiteral("x") << QStringLiteral("x.jpeg") << QByteArray("jpeg");
    QTest::newRow("bitmap") << 2 << QStringLiteral("x") << QStringLiteral("x.bmp") << QByteArray("bmp");
    QTest::newRow("a suffix counts more")
        << 1 << QStringLiteral("x.bmp") << QStringLiteral("x.bmp") << QByteArray("bmp");
}

void TestExportDialog::aNameWithoutSuffixGetsThatOfTheFilter()
{
    QFETCH(int, filter);
    QFETCH(QString, typed);
    QFETCH(QString, made);
    WidgetPrompts prompts;
    QTimer user;
    connect(&user, &QTimer::timeout, this, [&] {
        auto *const dialog = qobject_cast<QFileDialog *>(QApplication::activeModalWidget());
        if (!dialog)
            return;
        user.stop();
        for (int i = 0; i < filter; ++i)
            QTest::keyClick(dialog->findChild<QComboBox *>(QStringLiteral("fileTypeCombo")), Qt::Key_Down);
        dialog->findChild<QLineEdit *>(QStringLiteral("fileNameEdit"))->setText(path(typed));
        dialog->findChild<QDialogButtonBox *>()->button(QDialogButtonBox::Save)->click();
    });
    user.start(10);
    QVERIFY(imageexport::saveImage(nullptr, prompts, m_folder->path(), [] {
        QImage image(8, 8, QImage::Format_RGB32);
        image.fill(Qt::red);
        return image;
    }));
    QTEST(QImageReader::imageFormat(path(made)), "format");
}

QTEST_MAIN(TestExportDialog)
#include "tst_exportdialog.moc"
