#include "sensor/discovery.h"
#include "sensor/sensordialog.h"
#include "simulator/sensorsimulator.h"
#include "support/fakeprompts.h"

#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QSignalSpy>
#include <QTableWidget>
#include <QUdpSocket>
#include <QtTest>

#include <vector>

namespace {

const QString host = QStringLiteral("127.0.0.1");
constexpr int patience = 20000;
const QString duplicate = QStringLiteral("%1 is already present in the system.\nPlease, try reconnecting to it through "
                                         "it's widget, which is located on the main window of this application");

} // namespace

class TestSensorDialog : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup() { m_dialog.reset(); }
    void whatIsOfferedFirst();
    void scansFillTheTableAnew();
    void aScanWithoutAPortIsSaid();
    void addressesThatAreNone_data();
    void addressesThatAreNone();
    void aSensorIsVerifiedThenAccepted();
    void aLongSerialMovesNothing();
    void whatIsTypedAfterwardsIsNotVerified();
    void whatTheSessionHasAlready_data();
    void whatTheSessionHasAlready();
    void statusColours();
    void silenceEndsInTheBox_data();
    void silenceEndsInTheBox();
    void reconnecting_data();
    void reconnecting();
    void cancelledAtAnyMoment();
    void theProgramForTheAddress();

private:
    void open(const SensorDialog::Known &known = {});
    template <typename T>
    T *control(const char *name) const
    {
        return m_dialog->findChild<T *>(QLatin1String(name));
    }
    QString status() const { return control<QLineEdit>("sensorStatus")->text(); }
    void type(const char *name, const QString &text) const { control<QLineEdit>(name)->setText(text); }
    void press(const char *name) const { QTest::mouseClick(control<QPushButton>(name), Qt::LeftButton); }
    void connectTo(quint16 port) const;

    FakePrompts m_prompts;
    QVariantMap m_settings;
    QStringList m_addresses; // of the session
    QStringList m_serials;
    int m_replyTimeout = 0;
    std::unique_ptr<SensorDialog> m_dialog;
};

void TestSensorDialog::init()
{
    m_prompts = FakePrompts();
    m_settings.clear();
    m_addresses.clear();
    m_serials.clear();
    m_replyTimeout = 5000;
}

void TestSensorDialog::open(const SensorDialog::Known &known)
{
    SensorDialog::Surroundings around;
    around.hasAddress = [this](const QString &address, quint16) { return m_addresses.contains(address); };
    around.hasSerial = [this](const QString &serial) { return m_serials.contains(serial); };
    around.setting = [this](const QString &key, const QString &fallback) {
        return m_settings.value(key, fallback).toString();
    };
    around.keepSetting = [this](const QString &key, const QString &value) { m_settings[key] = value; };
    around.programFolder = QStringLiteral("/opt/with blank");
    around.timings.retryWait = 20;
    around.timings.replyTimeout = m_replyTimeout;
    around.timings.dispatchInterval = 1;
    m_dialog = std::make_unique<SensorDialog>(m_prompts, around, known);
    // Towards an address of nobody: a sensor or simulator that listens on this computer is not asked.
    m_dialog->scanner().setAdapters({{QStringLiteral("lo"),
                                      QHostAddress(QHostAddress::LocalHost),
                                      QHostAddress(QStringLiteral("192.0.2.1")),
                                      false,
                                      {}}});
    m_dialog->show();
}

void TestSensorDialog::connectTo(quint16 port) const
{
    type("sensorAddress", host);
    type("sensorPort", QString::number(port));
    press("connectSensor");
}

static std::unique_ptr<SensorSimulator> sensorNamed(const QString &serial)
{
    SimulatorOptions options;
    options.serial = serial;
    auto sensor = std::make_unique<SensorSimulator>(options);
    return sensor->start() ? std::move(sensor) : nullptr;
}

void TestSensorDialog::whatIsOfferedFirst()
{
    open();
    QCOMPARE(control<QLineEdit>("sensorAddress")->text(), QStringLiteral("192.168.1.100"));
    QCOMPARE(control<QLineEdit>("sensorPort")->text(), QStringLiteral("80"));
    QCOMPARE(control<QLineEdit>("chamber")->text(), QStringLiteral("Default"));
    QCOMPARE(control<QLineEdit>("sensorStatus")->styleSheet(), QStringLiteral("background-color: #F0F0F0;"));
    QCOMPARE(control<QLineEdit>("sensorStatus")->placeholderText(), QStringLiteral("- - -"));
    QVERIFY(!control<QPushButton>("accept")->isEnabled());
    type("chamber", QStringLiteral("Etch 7"));
    QCOMPARE(m_settings.value(QStringLiteral("connectionSettings/chamberID")).toString(), QStringLiteral("Etch 7"));
    open({QStringLiteral("SN1"), host, 8080, QStringLiteral("Etch 1")}); // a known sensor's chamber is nobody's choice
    QCOMPARE(m_settings.value(QStringLiteral("connectionSettings/chamberID")).toString(), QStringLiteral("Etch 7"));
    QCOMPARE(control<QLineEdit>("sensorPort")->text(), QStringLiteral("8080"));
}

void TestSensorDialog::scansFillTheTableAnew()
{
    open();
    auto *table = control<QTableWidget>("sensorTable");
    QUdpSocket sensor;
    const auto answer = [&](const QByteArray &datagram) {
        sensor.writeDatagram(datagram, QHostAddress(QHostAddress::LocalHost), m_dialog->scanner().replyPort());
    };
    for (int scan = 0; scan < 2; ++scan) {
        m_dialog->scanNetwork(); // the second while the first still runs
        QVERIFY(!control<QPushButton>("scanNetwork")->isEnabled());
        QCOMPARE(table->rowCount(), 0);
        answer(QByteArray("RPNORVSN123\0", 12));
        answer(QByteArray("RPNORVSN123\0", 12));
        answer(QByteArray("RPNORV<b>B\0", 11));
        QTRY_COMPARE_WITH_TIMEOUT(table->rowCount(), 2, patience);
    }
    QCOMPARE(table->item(0, 0)->text(), QStringLiteral("SN123"));
    QCOMPARE(table->item(0, 0)->data(Qt::UserRole).toUInt(), QHostAddress(host).toIPv4Address());
    QCOMPARE(table->item(0, 1)->text(), host);
    type("sensorAddress", QStringLiteral("10.0.0.9"));
    emit table->cellClicked(1, 1);
    QCOMPARE(control<QLineEdit>("sensorAddress")->text(), host);
    for (int tick = 0; tick < 10; ++tick)
        m_dialog->scannerUpdate();
    QVERIFY(control<QPushButton>("scanNetwork")->isEnabled());
    QVERIFY(control<QLabel>("lb_scanResult")->text().startsWith(QStringLiteral("2 answered")));
    m_dialog->scanNetwork();
    for (int tick = 0; tick < 10; ++tick)
        m_dialog->scannerUpdate();
    QVERIFY(control<QLabel>("lb_scanResult")->text().contains(QStringLiteral("firewall")));
}

void TestSensorDialog::aScanWithoutAPortIsSaid()
{
    std::vector<std::unique_ptr<QUdpSocket>> others;
    for (quint16 port = discovery::firstReplyPort; port <= discovery::lastReplyPort; ++port) {
        others.push_back(std::make_unique<QUdpSocket>());
        others.back()->bind(QHostAddress::AnyIPv4, port, QAbstractSocket::DontShareAddress);
    }
    open();
    press("scanNetwork");
    QCOMPARE(m_prompts.takeShown(),
             QStringList{QStringLiteral("warn|Unable to access network|Unable to listen on network, feature of "
                                        "discovery unavailable")});
    QVERIFY(control<QPushButton>("scanNetwork")->isEnabled());
}

void TestSensorDialog::addressesThatAreNone_data()
{
    QTest::addColumn<QString>("address");
    QTest::addColumn<QString>("port");
    for (const char *address : {"", "999.1.1.1", "10.0.1", "::1", "sensor", "1.2.3.4.5", "10.0.0.5:80"})
        QTest::newRow(qPrintable(QStringLiteral("address '%1'").arg(QLatin1String(address))))
            << QString::fromLatin1(address) << QStringLiteral("80");
    for (const char *port : {"", "0", "65536", "-1", "http"})
        QTest::newRow(qPrintable(QStringLiteral("port '%1'").arg(QLatin1String(port))))
            << host << QString::fromLatin1(port);
}

void TestSensorDialog::addressesThatAreNone()
{
    QFETCH(QString, address);
    QFETCH(QString, port);
    open();
    type("sensorAddress", address);
    type("sensorPort", port);
    press("connectSensor");
    QCOMPARE(control<QLineEdit>("sensorStatus")->styleSheet(), QStringLiteral("background-color: #F8C1BA;"));
    QVERIFY(!m_dialog->findChild<arcSensor *>());
    QVERIFY(!m_settings.contains(QStringLiteral("connectionSettings/sensorIP")));
    QVERIFY(m_prompts.shown.isEmpty());
}

void TestSensorDialog::aLongSerialMovesNothing()
{
    const auto sensor = sensorNamed(QString(56, QLatin1Char('W')));
    open();
    const QSize before = m_dialog->sizeHint();
    connectTo(sensor->port());
    QTRY_VERIFY_WITH_TIMEOUT(control<QPushButton>("accept")->isEnabled(), patience);
    QCOMPARE(m_dialog->sizeHint(), before);
    QVERIFY(control<QLabel>("lb_hint")->text().contains(QStringLiteral("Add Sensor")));
    QCOMPARE(m_dialog->verifiedSerial().size(), 56);
}

void TestSensorDialog::aSensorIsVerifiedThenAccepted()
{
    const auto sensor = sensorNamed(QStringLiteral("SN1"));
    open();
    QSignalSpy told(m_dialog.get(), &SensorDialog::sensorSerial);
    type("chamber", QStringLiteral(" Etch 1 "));
    connectTo(sensor->port());
    QCOMPARE(m_settings.value(QStringLiteral("connectionSettings/sensorIP")).toString(), host);
    QTRY_VERIFY_WITH_TIMEOUT(control<QPushButton>("accept")->isEnabled(), patience);
    QCOMPARE(control<QLineEdit>("sensorStatus")->styleSheet(), QStringLiteral("background-color: #ACE8DC;"));
    QCOMPARE(control<QLabel>("sensorSerial")->text(), QStringLiteral("SN1"));
    QVERIFY(!control<QLabel>("sensorDate")->text().contains(QLatin1Char('-')) || !told.isEmpty());
    QCOMPARE(told.size(), 1);
    QTRY_VERIFY_WITH_TIMEOUT(!m_dialog->findChild<arcSensor *>(), patience); // the session's is alone with the sensor
    press("accept");
    QCOMPARE(m_dialog->result(), int(QDialog::Accepted));
    QCOMPARE(m_dialog->verifiedSerial(), QStringLiteral("SN1"));
    QCOMPARE(m_dialog->verifiedAddress(), host);
    QCOMPARE(m_dialog->verifiedPort(), sensor->port());
    QCOMPARE(m_dialog->chamberName(), QStringLiteral("Etch 1"));
    QVERIFY(m_prompts.shown.isEmpty());
}

void TestSensorDialog::whatIsTypedAfterwardsIsNotVerified()
{
    const auto sensor = sensorNamed(QStringLiteral("SN1"));
    open();
    connectTo(sensor->port());
    QTRY_VERIFY_WITH_TIMEOUT(control<QPushButton>("accept")->isEnabled(), patience);
    type("sensorPort", QStringLiteral("1"));
    QVERIFY(!control<QPushButton>("accept")->isEnabled());
    m_dialog->accepted();
    QVERIFY(m_dialog->isVisible());
    connectTo(sensor->port());
    QVERIFY(m_dialog->findChild<arcSensor *>());
    type("sensorAddress", QStringLiteral("10.0.0.9")); // while it is being asked
    QTRY_VERIFY_WITH_TIMEOUT(!m_dialog->findChild<arcSensor *>(), patience);
    QVERIFY(!control<QPushButton>("accept")->isEnabled());
}

void TestSensorDialog::whatTheSessionHasAlready_data()
{
    QTest::addColumn<bool>("knownAddress");
    QTest::addColumn<bool>("picked");
    QTest::addColumn<QString>("box");
    QTest::newRow("address") << true << false << duplicate.arg(QStringLiteral("The sensor with IP127.0.0.1"));
    QTest::newRow("serial in the table") << false << true
                                         << duplicate.arg(QStringLiteral("The sensor with serial numberSN1"));
    QTest::newRow("serial once it answers")
        << false << false << duplicate.arg(QStringLiteral("The sensor with serial numberSN1"));
}

void TestSensorDialog::whatTheSessionHasAlready()
{
    QFETCH(bool, knownAddress);
    QFETCH(bool, picked);
    QFETCH(QString, box);
    const auto sensor = sensorNamed(QStringLiteral("SN1"));
    m_serials = QStringList{QStringLiteral("SN1")};
    if (knownAddress)
        m_addresses = QStringList{host};
    open();
    if (picked) {
        m_dialog->scanNetwork();
        QUdpSocket().writeDatagram(QByteArray("RPNORVSN1\0", 10), QHostAddress(QHostAddress::LocalHost),
                                   m_dialog->scanner().replyPort());
        QTRY_COMPARE_WITH_TIMEOUT(control<QTableWidget>("sensorTable")->rowCount(), 1, patience);
        m_dialog->sensorScanSelection(0, 0);
        type("sensorPort", QString::number(sensor->port()));
        press("connectSensor");
    } else {
        connectTo(sensor->port());
    }
    QTRY_COMPARE_WITH_TIMEOUT(m_prompts.shown.size(), 1, patience);
    QCOMPARE(m_prompts.takeShown(), QStringList{QStringLiteral("warn|Sensor Already Connected|") + box});
    QTRY_VERIFY_WITH_TIMEOUT(!m_dialog->findChild<arcSensor *>(), patience);
    QVERIFY(!control<QPushButton>("accept")->isEnabled());
}

void TestSensorDialog::statusColours()
{
    open();
    const auto style = [this] { return control<QLineEdit>("sensorStatus")->styleSheet(); };
    QTest::ignoreMessage(QtDebugMsg, "SensorDialog::statusUpdate: Trying to connect to sensor.");
    m_dialog->statusUpdate(QStringLiteral("Connecting"));
    QTest::ignoreMessage(QtDebugMsg, "SensorDialog::statusUpdate: Reconnection failed. Retrying");
    m_dialog->statusUpdate(QStringLiteral("Disconnected"));
    QCOMPARE(style(), QStringLiteral("background-color: #EDE5B4;"));
    m_dialog->statusUpdate(QStringLiteral("Connection timed out"));
    QCOMPARE(style(), QStringLiteral("background-color: #F8C1BA;"));
    QCOMPARE(status(), QStringLiteral("Connection timed out. Retrying"));
    m_dialog->statusUpdate(QStringLiteral("Connection timed out"));
    m_dialog->statusUpdate(QStringLiteral("Disconnected")); // in between something answered
    m_dialog->statusUpdate(QStringLiteral("Connection timed out"));
    QVERIFY(m_prompts.shown.isEmpty());
    QTest::ignoreMessage(QtDebugMsg, "SensorDialog::statusUpdate: Connected!!");
    m_dialog->statusUpdate(QStringLiteral("Connected")); // of nobody
    QVERIFY(!control<QPushButton>("accept")->isEnabled());
}

void TestSensorDialog::silenceEndsInTheBox_data()
{
    QTest::addColumn<QString>("serial");
    QTest::addColumn<QString>("text");
    QTest::addColumn<bool>("details");
    QTest::newRow("unknown sensor") << QString()
                                    << QStringLiteral("No sensor was connected to the IP address = 127.0.0.1.\n")
                                    << false;
    QTest::newRow("known sensor") << QStringLiteral("SN1")
                                  << QStringLiteral(
                                         "Failed to stablish a connection with the sensor with serial number "
                                         "SN1 and IP address = 127.0.0.1.\n")
                                  << true;
}

void TestSensorDialog::silenceEndsInTheBox()
{
    QFETCH(QString, serial);
    QFETCH(QString, text);
    QFETCH(bool, details);
    const auto sensor = sensorNamed(QStringLiteral("SN1"));
    QVERIFY(sensor->setFaultPlan(QStringLiteral("all@*=hang")));
    m_replyTimeout = 60;
    open({serial, host, sensor->port(), {}});
    connectTo(sensor->port());
    QTRY_COMPARE_WITH_TIMEOUT(m_prompts.shown.size(), 1, patience);
    QVERIFY(m_prompts.takeShown().first().startsWith(QStringLiteral("warn|Connection to sensor timed out|") + text));
    QCOMPARE(m_prompts.lastMore.details.startsWith(QStringLiteral("The network scanner can be found by inside")),
             details);
    QCOMPARE(control<QLineEdit>("sensorStatus")->styleSheet(), QStringLiteral("background-color: #F8C1BA;"));
    QTRY_VERIFY_WITH_TIMEOUT(!m_dialog->findChild<arcSensor *>(), patience);
}

void TestSensorDialog::reconnecting_data()
{
    QTest::addColumn<QString>("answers");
    QTest::addColumn<int>("choice");
    QTest::addColumn<bool>("acceptable");
    QTest::newRow("the same sensor") << QStringLiteral("SN1") << -1 << true;
    QTest::newRow("another, checked first") << QStringLiteral("SN2") << 0 << false;
    QTest::newRow("another, taken as new") << QStringLiteral("SN2") << 1 << true;
    QTest::newRow("another of the session") << QStringLiteral("SN3") << 1 << false;
}

void TestSensorDialog::reconnecting()
{
    QFETCH(QString, answers);
    QFETCH(int, choice);
    QFETCH(bool, acceptable);
    const auto sensor = sensorNamed(answers);
    m_addresses = QStringList{host};
    m_serials = QStringList{QStringLiteral("SN1"), QStringLiteral("SN3")};
    m_prompts.choice = choice;
    open({QStringLiteral("SN1"), host, sensor->port(), QStringLiteral("Etch 1")});
    QSignalSpy reconnected(m_dialog.get(), &SensorDialog::sensorReconnectSuccessful);
    QSignalSpy told(m_dialog.get(), &SensorDialog::sensorSerial);
    press("connectSensor");
    QTRY_COMPARE_WITH_TIMEOUT(told.size(), 1, patience);
    QCOMPARE(control<QPushButton>("accept")->isEnabled(), acceptable);
    const QStringList shown = m_prompts.takeShown();
    QCOMPARE(shown.size(), choice < 0 ? 0 : answers == QLatin1String("SN3") ? 2 : 1);
    if (choice >= 0)
        QCOMPARE(
            shown.first(),
            QStringLiteral("choose|Wrong sensor serial|An error ocurred while trying to connect to the sensor with "
                           "serial number SN1. Another sensor with serial %1 was found connected to the same IP "
                           "address ( 127.0.0.1 ).\n\nA new connection will be created to properly add the sensor "
                           "(no data will be lost)|Wait! I'll check the sensor|Create a new connection")
                .arg(answers));
    if (acceptable)
        press("accept");
    QCOMPARE(m_dialog->isVisible(), !acceptable);
    QCOMPARE(reconnected.size(), choice < 0 ? 1 : 0);
}

void TestSensorDialog::cancelledAtAnyMoment()
{
    const auto sensor = sensorNamed(QStringLiteral("SN1"));
    for (const int waitMs : {0, 1, 5, 20, 50}) {
        open();
        m_dialog->scanNetwork();
        connectTo(sensor->port());
        QTest::qWait(waitMs);
        if (waitMs % 2)
            press("discard");
        else
            m_dialog->close();
        QCOMPARE(m_dialog->result(), int(QDialog::Rejected));
        m_dialog.reset();
    }
    m_prompts.during = [this] { QVERIFY(NestedLoop::isAnyRunning() && m_dialog); };
    open();
    m_addresses = QStringList{host};
    connectTo(sensor->port());
    QCOMPARE(m_prompts.takeShown().size(), 1);
}

void TestSensorDialog::theProgramForTheAddress()
{
    open();
    m_prompts.opens = false;
    press("configSensorIP");
    QCOMPARE(m_prompts.takeShown(), (QStringList{QStringLiteral("program|/opt/with blank/SirtoIPConfig.exe|"),
                                                 QStringLiteral("warn|Open Sensor IP Configuration|Unable to find "
                                                                "/opt/with blank/SirtoIPConfig.exe")}));
}

QTEST_MAIN(TestSensorDialog)
#include "tst_sensordialog.moc"
