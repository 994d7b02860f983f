#include "data/norvexdata.h"
#include "display/sensors/importtabledialog.h"
#include "display/sensors/reanalysisresultdialog.h"
#include "display/sensors/sensorcare.h"
#include "recipe/reconfiguresensordialog.h"
#include "session/session.h"
#include "support/fakeprompts.h"

#include <QApplication>
#include <QComboBox>
#include <QLabel>
#include <QTableWidget>
#include <QTimer>
#include <QtTest>

namespace {

/// A base of 100 V with one dip of `depth` percent.
EventRecord dip(int second, double depth)
{
    EventRecord event;
    event.samples.resize(100);
    for (int i = 0; i < 100; ++i) {
        event.samples[i].time = quint64(second) * 1000000 + quint64(i) * 10;
        event.samples[i].voltage = i >= 50 && i < 53 ? 100 - depth : 100;
    }
    event.time = event.samples.constFirst().time;
    event.typeCode = 8;
    return event;
}

QStringList rowsOf(const QTableWidget &table)
{
    QStringList rows;
    for (int row = 0; row < table.rowCount(); ++row)
        rows.append(table.item(row, 0)->text() + QLatin1Char('|') + table.item(row, 1)->text() + QLatin1Char('|') +
                    table.item(row, 2)->text());
    return rows;
}

/// Calls `action` once a dialog of this kind is in front. It never waits itself: the dialog before has to return.
template <class Dialog, class Action>
void whenShown(Action action)
{
    auto *timer = new QTimer(QCoreApplication::instance());
    QObject::connect(timer, &QTimer::timeout, timer, [timer, action] {
        auto *dialog = qobject_cast<Dialog *>(QApplication::activeModalWidget());
        if (!dialog)
            return;
        timer->stop();
        timer->deleteLater();
        action(*dialog);
    });
    timer->start(5);
}

} // namespace

/// The steps and boxes of what the user does to the stored data of a sensor.
class TestSensorCare : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void reanalysis();
    void tableIsReadAsShown();

private:
    std::unique_ptr<QTemporaryDir> m_folder;
    std::unique_ptr<Session> m_session;
    std::shared_ptr<norvexData> m_store;
    FakePrompts m_prompts;
};

void TestSensorCare::init()
{
    m_session.reset();
    m_folder = std::make_unique<QTemporaryDir>();
    m_session = Session::create(m_folder->filePath(QStringLiteral("s")), nullptr);
    m_store = m_session->addSensor(QStringLiteral("S1"), QStringLiteral("PM1"), QString(), 80);
}

void TestSensorCare::reanalysis()
{
    for (int i = 0; i < 3; ++i)
        QVERIFY(m_store->addEvent(dip(i, 15)));
    QVERIFY(m_store->addEvent(dip(3, 60)));
    QVERIFY(m_session->save());
    SensorCare care(nullptr, m_prompts, m_store, m_session->path());
    QVERIFY(!care.showReanalysis());
    QCOMPARE(m_prompts.takeShown().size(), 1);

    whenShown<reconfigureSensordialog>([](reconfigureSensordialog &dialog) {
        QCOMPARE(dialog.windowTitle(), QStringLiteral("Configure Reanalysis"));
        whenShown<ReanalysisResultDialog>([](ReanalysisResultDialog &result) {
            QCOMPARE(rowsOf(*result.findChild<QTableWidget *>()),
                     (QStringList{QStringLiteral("E33|E11|3"), QStringLiteral("E33|E13|1")}));
            QVERIFY(result.findChild<QLabel *>(QStringLiteral("lb_headline"))
                        ->text()
                        .startsWith(QStringLiteral("4 of 4 events of sensor S1")));
            result.accept();
        });
        dialog.accept();
    });
    QVERIFY(care.reanalyse() == SensorCare::Reanalysed::Show);
    QVERIFY(m_prompts.takeShown().isEmpty());
    QVERIFY(!m_store->showsReanalysis()); // the display does not change by it
    QVERIFY(care.showReanalysis());
    QCOMPARE(m_store->eventsInRange(0, ~quint64(0)).constFirst().effectiveCode(), 0);
    care.showOriginal();
    QCOMPARE(m_store->eventsInRange(0, ~quint64(0)).constFirst().effectiveCode(), 8);

    whenShown<reconfigureSensordialog>([](reconfigureSensordialog &dialog) { dialog.reject(); });
    QVERIFY(care.reanalyse() == SensorCare::Reanalysed::Nothing);
}

/// Every delimiter that is detected can be chosen, and what is read is what was shown.
void TestSensorCare::tableIsReadAsShown()
{
    const QString path = m_folder->filePath(QStringLiteral("t.txt"));
    for (const char *line : {"1707140711002500|101.5|-2.25\n", "1707140711002500 101.5 -2.25\n",
                             "1707140711002500\t101.5\t-2.25\n", "1707140711002500,101.5,-2.25\n"}) {
        QFile file(path);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(line);
        file.close();
        ImportTableDialog dialog(QStringLiteral("t.txt"), line, csvsamples::previewOf(path));
        auto *rows = dialog.findChild<QTableWidget *>(QStringLiteral("tw_preview"));
        const QStringList shown{QStringLiteral("05-02-2024 13:45:11.002500|101.5|-2.25")};
        QCOMPARE(rowsOf(*rows), shown);
        auto *current = dialog.findChild<QComboBox *>(QStringLiteral("cb_column2"));
        current->setCurrentIndex(1);
        current->setCurrentIndex(2); // any choice takes over what the boxes say
        QCOMPARE(rowsOf(*rows), shown);
    }
}

QTEST_MAIN(TestSensorCare)
#include "tst_sensorcare.moc"
