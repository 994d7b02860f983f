#include "recipe/configurationfields.h"
#include "recipe/configurationlimits.h"
#include "recipe/reconfiguresensordialog.h"
#include "support/fakeprompts.h"

#include <QCheckBox>
#include <QDialogButtonBox>
#include <QDoubleSpinBox>
#include <QLabel>
#include <QPushButton>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QtTest>

class TestReconfigureSensordialog : public QObject
{
    Q_OBJECT

private slots:
    void everyFieldHasAControlAndComesBackUnchanged();
    void aChangeIsMarkedAndReturned();
    void okIsRefusedWithTheReason();
    void valuesOutsideTheControlsStayExact();
    void filesAreLoadedAndSaved();
    void problems_data();
    void problems();
};

static QDoubleSpinBox *spin(const QDialog &dialog, const char *name)
{
    return dialog.findChild<QDoubleSpinBox *>(QLatin1String(name));
}

static QPushButton *ok(const QDialog &dialog)
{
    return dialog.findChild<QDialogButtonBox *>()->button(QDialogButtonBox::Ok);
}

void TestReconfigureSensordialog::everyFieldHasAControlAndComesBackUnchanged()
{
    FakePrompts prompts;
    SensorConfiguration configuration;
    configuration.signalBaseThreshold = 20.123456789; // finer than the control shows
    configuration.signalLock = 'x';
    configuration.pulseOnMax = 4294967295U;
    const reconfigureSensordialog dialog(QStringLiteral("Configure Sensor"), configuration, prompts);
    QCOMPARE(dialog.windowTitle(), QStringLiteral("Configure Sensor"));
    QVERIFY(dialog.configuration() == configuration);
    QStringList expected;
    QStringList reached; // by the tab key
    for (const QWidget *next = dialog.nextInFocusChain(); next != &dialog; next = next->nextInFocusChain()) {
        if (next->objectName().contains(QRegularExpression(QStringLiteral("^(sb|cb)_"))))
            reached.append(next->objectName().mid(3));
    }
    for (const ConfigurationField &field : configurationFields()) {
        expected.append(field.readKey);
        if (field.readKey == QLatin1String("frequency_limit"))
            expected.append(QStringLiteral("frequency_limit_high"));
        const auto *control = dialog.findChild<QWidget *>(QStringLiteral("sb_") + field.readKey);
        const auto *box = dialog.findChild<QWidget *>(QStringLiteral("cb_") + field.readKey);
        QVERIFY2(control || box, field.readKey.data());
        QVERIFY2(!(control ? control : box)->toolTip().isEmpty(), field.readKey.data());
    }
    QCOMPARE(reached, expected);
}

void TestReconfigureSensordialog::aChangeIsMarkedAndReturned()
{
    FakePrompts prompts;
    const SensorConfiguration before;
    reconfigureSensordialog dialog(QStringLiteral("Configure Sensor"), before, prompts);
    const QSignalSpy updated(&dialog, &reconfigureSensordialog::configUpdated);
    spin(dialog, "sb_refresh_rate")->setValue(250);
    dialog.findChild<QCheckBox *>(QStringLiteral("cb_capture_all_pulses"))->setChecked(true);
    SensorConfiguration expected = before;
    expected.refreshRate = 250;
    expected.captureAllPulses = '1';
    QVERIFY(dialog.configuration() == expected);
    int marked = 0;
    const auto labels = dialog.findChildren<QLabel *>();
    for (const QLabel *label : labels)
        marked += label->text().endsWith(QString::fromUtf8("•")) ? 1 : 0;
    QCOMPARE(marked, 2);
    ok(dialog)->click();
    QCOMPARE(updated.count(), 1);
    dialog.restoreOriginal();
    QVERIFY(dialog.configuration() == before);
}

void TestReconfigureSensordialog::okIsRefusedWithTheReason()
{
    FakePrompts prompts;
    reconfigureSensordialog dialog(QStringLiteral("Configure Sensor"), {}, prompts);
    QVERIFY(ok(dialog)->isEnabled());
    spin(dialog, "sb_event_min_amplitude_1")->setValue(101);
    QVERIFY(!ok(dialog)->isEnabled());
    QVERIFY(dialog.findChild<QLabel *>(QStringLiteral("lb_reason"))->text().contains(QStringLiteral("amplitude")));
    const QSignalSpy updated(&dialog, &reconfigureSensordialog::configUpdated);
    dialog.accept();
    QCOMPARE(updated.count(), 0);
    spin(dialog, "sb_event_min_amplitude_1")->setValue(10);
    QVERIFY(ok(dialog)->isEnabled());
}

void TestReconfigureSensordialog::valuesOutsideTheControlsStayExact()
{
    FakePrompts prompts;
    SensorConfiguration odd;
    odd.refreshRate = -5;
    odd.frequencyLimitLow = 20000000;
    const reconfigureSensordialog dialog(QStringLiteral("Configure Reanalysis"), odd, prompts);
    QVERIFY(dialog.configuration() == odd);
    QVERIFY(!ok(dialog)->isEnabled());
}

void TestReconfigureSensordialog::filesAreLoadedAndSaved()
{
    const QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("a.norvexconfig"));
    FakePrompts prompts;
    reconfigureSensordialog dialog(QStringLiteral("Configure Sensor"), {}, prompts);
    spin(dialog, "sb_event_points")->setValue(777);
    prompts.paths = QStringList{path};
    dialog.saveConfiguration();
    dialog.restoreOriginal();
    prompts.paths = QStringList{path};
    dialog.loadConfiguration();
    QCOMPARE(dialog.configuration().eventPoints, 777U);

    SensorConfiguration fine;
    fine.voltageFactor = 0.0001234567; // finer than the control shows
    fine.signalLock = 'x';
    const QString finePath = dir.filePath(QStringLiteral("fine.norvexconfig"));
    QVERIFY(fine.saveToFile(finePath, nullptr));
    SensorConfiguration stored;
    QVERIFY(stored.loadFromFile(finePath, nullptr));
    prompts.paths = QStringList{finePath};
    reconfigureSensordialog other(QStringLiteral("Configure Sensor"), {}, prompts);
    other.loadConfiguration();
    QVERIFY(qAbs(stored.voltageFactor - fine.voltageFactor) < 1e-9);
    QVERIFY(other.configuration() == stored);
    spin(other, "sb_voltage_factor")->setValue(0.5);
    QCOMPARE(other.configuration().voltageFactor, 0.5);

    QFile broken(dir.filePath(QStringLiteral("b.norvexconfig")));
    QVERIFY(broken.open(QIODevice::WriteOnly) && broken.write("{\"signal_base_threshold\":") > 0);
    broken.close();
    prompts.takeShown();
    prompts.paths = QStringList{broken.fileName()};
    dialog.loadConfiguration();
    QCOMPARE(prompts.shown.size(), 2); // the chooser, then the warning
    QVERIFY(prompts.shown.last().startsWith(QStringLiteral("warn|Warning|")));
    QCOMPARE(dialog.configuration().eventPoints, 777U);
}

void TestReconfigureSensordialog::problems_data()
{
    QTest::addColumn<QString>("key");
    QTest::addColumn<double>("value");
    QTest::addColumn<QString>("where");
    QTest::newRow("defaults") << QStringLiteral("sb_event_points") << 1000.0 << QString();
    QTest::newRow("zero refresh") << QStringLiteral("sb_refresh_rate") << 0.0 << QStringLiteral("refresh_rate");
    QTest::newRow("window upside down") << QStringLiteral("sb_frequency_limit") << 2e7
                                        << QStringLiteral("frequency_limit");
    QTest::newRow("levels fall") << QStringLiteral("sb_event_max_length_1") << 101.0
                                 << QStringLiteral("event_max_length_2");
    QTest::newRow("equal levels") << QStringLiteral("sb_event_max_length_1") << 100.0 << QString();
    QTest::newRow("pulse period") << QStringLiteral("sb_pulse_period_min") << 10004.0
                                  << QStringLiteral("pulse_period_max");
}

void TestReconfigureSensordialog::problems()
{
    QFETCH(QString, key);
    QFETCH(double, value);
    QFETCH(QString, where);
    FakePrompts prompts;
    const reconfigureSensordialog dialog(QString(), {}, prompts);
    dialog.findChild<QDoubleSpinBox *>(key)->setValue(value);
    const QVector<ConfigurationProblem> found = configurationProblems(dialog.configuration());
    QStringList keys;
    for (const ConfigurationProblem &problem : found)
        keys.append(configurationFields()[size_t(problem.field)].readKey);
    QCOMPARE(keys.join(QLatin1Char(' ')), where);
}

QTEST_MAIN(TestReconfigureSensordialog)
#include "tst_reconfiguresensordialog.moc"
