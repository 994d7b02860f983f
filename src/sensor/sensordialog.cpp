#include "sensor/sensordialog.h"

#include "base/log.h"
#include "base/prompts.h"
#include "sensor/webservice.h"
#include "ui_sensordialog.h"

#include <QFontMetrics>
#include <QHeaderView>
#include <QLabel>
#include <QPushButton>

#include <algorithm>

namespace {

const QString neutralColour = QStringLiteral("background-color: #F0F0F0;");
const QString waitingColour = QStringLiteral("background-color: #EDE5B4;");
const QString connectedColour = QStringLiteral("background-color: #ACE8DC;");
const QString timedOutColour = QStringLiteral("background-color: #F8C1BA;");
constexpr char retryingText[] = QT_TRANSLATE_NOOP("SensorDialog", "Connection timed out. Retrying");
const QString defaultAddress = QStringLiteral("192.168.1.100");
const QString defaultChamber = QStringLiteral("Default");
const QString addressKey = QStringLiteral("connectionSettings/sensorIP");
const QString chamberKey = QStringLiteral("connectionSettings/chamberID");
constexpr int scanTickMs = 500;
constexpr int scanTicks = 10;
constexpr int timeoutsForBox = 3;

constexpr char unknownTimedOut[] = QT_TRANSLATE_NOOP(
    "SensorDialog",
    "No sensor was connected to the IP address = %1.\nPlease, check that the sensor is powered on and "
    "connected to the same network as this PC and try again.\nAlternatively, the network scanner can be "
    "used to find all the Norvex devices connected to the network.");
constexpr char knownTimedOut[] = QT_TRANSLATE_NOOP(
    "SensorDialog",
    "Failed to stablish a connection with the sensor with serial number %1 and IP address = %2.\nPlease, "
    "check that the sensor is powered on and connected to the same network as this PC and try again.\n"
    "Alternatively, the network scanner can be used to find all the Norvex devices connected to the "
    "network(press 'Show Details...' for more info).\n\nIf the sensor's IP changed, please create a new "
    "connection. (Saved data will not be lost)");
constexpr char scannerHint[] = QT_TRANSLATE_NOOP(
    "SensorDialog", "The network scanner can be found by inside the sensor connection widget, which can be opened with "
                    "the 'Connect to Sensor' button that's on the main window");
constexpr char otherSerial[] = QT_TRANSLATE_NOOP(
    "SensorDialog",
    "An error ocurred while trying to connect to the sensor with serial number %1. Another sensor with "
    "serial %2 was found connected to the same IP address ( %3 ).\n\nA new connection will be created to "
    "properly add the sensor (no data will be lost)");

/// An IPv4 address in its usual four-number form.
bool isAddress(const QString &text)
{
    QHostAddress address;
    return address.setAddress(text) && address.protocol() == QAbstractSocket::IPv4Protocol &&
           text.count(QLatin1Char('.')) == 3;
}

/// What a sensor says of itself may be of any length: the dialog keeps its size.
void showPlainly(QLabel *label, const QString &text)
{
    const int room = label->fontMetrics().averageCharWidth() * 30;
    label->setText(label->fontMetrics().elidedText(text.simplified(), Qt::ElideRight, room));
    label->setToolTip(text.left(1000).toHtmlEscaped());
}

} // namespace

SensorDialog::SensorDialog(Prompts &prompts, const Surroundings &surroundings, QWidget *parent)
    : SensorDialog(prompts, surroundings, Known(), parent)
{}

SensorDialog::SensorDialog(Prompts &prompts, const Surroundings &surroundings, const Known &known, QWidget *parent)
    : QDialog(parent), ui(std::make_unique<Ui::SensorDialog>()), m_prompts(prompts), m_surroundings(surroundings),
      m_known(known)
{
    ui->setupUi(this);
    setWindowModality(Qt::ApplicationModal);
    setUp();
    const bool isNew = known.serial.isEmpty();
    {
        const QSignalBlocker blocker(ui->chamber); // what is shown first is no choice of the user's
        ui->chamber->setText(isNew ? surroundings.setting(chamberKey, defaultChamber) : known.chamber);
        ui->chamber->setCursorPosition(0); // the beginning of a long name is seen
    }
    ui->sensorAddress->setText(isNew ? surroundings.setting(addressKey, defaultAddress) : known.address);
    if (!isNew) {
        ui->sensorPort->setText(QString::number(known.port));
        showPlainly(ui->sensorSerial, known.serial);
        ui->chamber->setEnabled(false);
        ui->chamber->setToolTip(tr("The chamber of a sensor that is in the session already stays"));
        ui->accept->setText(tr("Reconnect"));
    }
    showStatus(neutralColour, QString());
    showScanResult();
    ui->sensorAddress->selectAll();
    ui->sensorAddress->setFocus();
}

SensorDialog::~SensorDialog() = default;

void SensorDialog::setUp()
{
    const QHeaderView *const head = ui->sensorTable->horizontalHeader();
    ui->sensorTable->setMinimumWidth(head->sectionSizeHint(0) + head->sectionSizeHint(1) +
                                     2 * ui->sensorTable->frameWidth());
    ui->lb_scanResult->setMinimumHeight(fontMetrics().lineSpacing() * 4);
    ui->lb_hint->setMinimumHeight(fontMetrics().lineSpacing() * 3);
    ui->sensorTable->horizontalHeader()->setHighlightSections(false);
    ui->sensorTable->horizontalHeader()->setSectionResizeMode(0, QHeaderView::ResizeToContents);
    ui->sensorStatus->setMinimumWidth(fontMetrics().horizontalAdvance(tr(retryingText)) +
                                      fontMetrics().averageCharWidth() * 4);
    ui->sensorSerial->setText(QStringLiteral("- - -"));
    ui->sensorDate->setText(QStringLiteral("- - -"));
    allowAccepting(false);
    resize(sizeHint().expandedTo({fontMetrics().averageCharWidth() * 104, fontMetrics().lineSpacing() * 26}));
    m_scanTimer.setInterval(scanTickMs);
    connect(ui->scanNetwork, &QPushButton::clicked, this, &SensorDialog::scanNetwork);
    connect(ui->configSensorIP, &QPushButton::clicked, this, &SensorDialog::openIPConfig);
    connect(ui->connectSensor, &QPushButton::clicked, this, &SensorDialog::createNewSensor);
    connect(ui->sensorTable, &QTableWidget::cellClicked, this, &SensorDialog::sensorScanSelection);
    connect(ui->chamber, &QLineEdit::textChanged, this, &SensorDialog::chamberChanged);
    connect(ui->accept, &QPushButton::clicked, this, &SensorDialog::accepted);
    connect(ui->discard, &QPushButton::clicked, this, &SensorDialog::discarded);
    connect(ui->sensorTable, &QTableWidget::cellActivated, this, &SensorDialog::sensorScanSelection);
    connect(ui->sensorAddress, &QLineEdit::textEdited, this, [this] { m_pickedSerial.clear(); });
    connect(ui->sensorAddress, &QLineEdit::textChanged, this, &SensorDialog::targetEdited);
    connect(ui->sensorPort, &QLineEdit::textChanged, this, &SensorDialog::targetEdited);
    connect(&m_scanTimer, &QTimer::timeout, this, &SensorDialog::scannerUpdate);
    connect(&m_scanner, &SensorScanner::sensorFound, this, &SensorDialog::dataToRead);
    connect(&m_scanner, &SensorScanner::requestsSent, this, &SensorDialog::showScanResult);
}

QString SensorDialog::address() const
{
    return ui->sensorAddress->text().trimmed();
}

quint16 SensorDialog::port() const
{
    return ui->sensorPort->text().trimmed().toUShort();
}

QString SensorDialog::chamberName() const
{
    const QString name = ui->chamber->text().trimmed();
    return name.isEmpty() ? defaultChamber : name;
}

// --- scanning

void SensorDialog::scanNetwork()
{
    ui->sensorTable->setRowCount(0);
    m_scanTicks = 0;
    if (!m_scanner.start()) {
        m_prompts.warn(this, tr("Unable to access network"),
                       tr("Unable to listen on network, feature of discovery unavailable"),
                       {tr("Another program uses the UDP ports 4660 to 4669. A sensor can still be connected by its "
                           "address."),
                        QString()});
        return;
    }
    ui->scanNetwork->setEnabled(false);
    ui->scanNetwork->setToolTip(tr("A scan is running"));
    m_scanTimer.start();
    showScanResult();
}

void SensorDialog::dataToRead()
{
    const QVector<SensorScanner::Found> &found = m_scanner.found();
    for (int row = ui->sensorTable->rowCount(); row < found.size(); ++row) {
        const SensorScanner::Found &sensor = found.at(row);
        ui->sensorTable->insertRow(row);
        auto *first = new QTableWidgetItem(sensor.serial);
        first->setData(Qt::UserRole, sensor.address.toIPv4Address());
        first->setToolTip(sensor.serial.toHtmlEscaped());
        ui->sensorTable->setItem(row, 0, first);
        ui->sensorTable->setItem(row, 1, new QTableWidgetItem(sensor.address.toString()));
    }
    showScanResult();
}

void SensorDialog::scannerUpdate()
{
    ui->sensorTable->resizeColumnToContents(0); // the other takes the rest
    if (++m_scanTicks < scanTicks)
        return;
    m_scanTimer.stop();
    m_scanner.stop();
    ui->scanNetwork->setEnabled(true);
    ui->scanNetwork->setToolTip(tr("Ask every network of this computer for sensors"));
    showScanResult();
}

void SensorDialog::showScanResult()
{
    QStringList lines;
    const int rows = ui->sensorTable->rowCount();
    if (m_scanTimer.isActive())
        lines << tr("Scanning: %1 answered so far").arg(rows);
    else if (m_scanner.adapters().isEmpty())
        lines << tr("No scan yet. Scan the network, or type the sensor's address on the right.");
    else if (rows > 0)
        lines << tr("%1 answered. Click one to take its address.").arg(rows);
    else
        lines << tr("No sensor answered. A firewall may block UDP port %1; allow Norvex in it, or type the sensor's "
                    "address on the right.")
                     .arg(m_scanner.replyPort());
    const QVector<SensorScanner::Adapter> &adapters = m_scanner.adapters();
    for (const SensorScanner::Adapter &adapter : adapters)
        lines << tr("%1 %2: %3")
                     .arg(adapter.name, adapter.address.toString(),
                          adapter.sent              ? tr("asked")
                          : adapter.error.isEmpty() ? tr("waiting")
                                                    : adapter.error);
    ui->lb_scanResult->setText(lines.join(QLatin1Char('\n')));
}

void SensorDialog::sensorScanSelection(int row, int)
{
    const QTableWidgetItem *item = ui->sensorTable->item(row, 0);
    if (!item)
        return;
    ui->sensorAddress->setText(QHostAddress(item->data(Qt::UserRole).toUInt()).toString());
    m_pickedSerial = item->text();
}

void SensorDialog::openIPConfig()
{
    const QString path = m_surroundings.programFolder + QStringLiteral("/SirtoIPConfig.exe");
    if (!m_prompts.startProgram(path, {}))
        m_prompts.warn(this, tr("Open Sensor IP Configuration"), tr("Unable to find ") + path);
}

void SensorDialog::chamberChanged()
{
    m_surroundings.keepSetting(chamberKey, chamberName());
}

// --- connecting

/// What was verified holds for the address and port that were typed then.
void SensorDialog::targetEdited()
{
    if (!m_sensor && m_serial.isEmpty())
        return;
    dropTemporarySensor();
    m_serial.clear();
    allowAccepting(false);
    showStatus(neutralColour, QString());
}

void SensorDialog::allowAccepting(bool allowed)
{
    ui->accept->setEnabled(allowed);
    ui->accept->setToolTip(allowed ? QString()
                                   : tr("Connect to the sensor first; it has to answer before it can be added"));
}

void SensorDialog::refuseDuplicate(const QString &kind, const QString &value)
{
    m_prompts.warn(this, tr("Sensor Already Connected"),
                   kind + value +
                       tr(" is already present in the system.\nPlease, try reconnecting to it through it's "
                          "widget, which is located on the main window of this application"));
}

void SensorDialog::createNewSensor()
{
    dropTemporarySensor();
    m_serial.clear();
    allowAccepting(false);
    if (!isAddress(address()) || port() == 0) {
        if (isAddress(address()))
            showStatus(timedOutColour, tr("Port must be 1 to 65535"), tr("Sensors usually listen on port 80."));
        else
            showStatus(timedOutColour, tr("Not an IPv4 address"),
                       tr("An address has four numbers from 0 to 255, such as %1.").arg(defaultAddress));
        return;
    }
    m_surroundings.keepSetting(addressKey, address());
    m_surroundings.keepSetting(chamberKey, chamberName());
    if (m_known.serial.isEmpty()) {
        if (m_surroundings.hasAddress(address(), port())) {
            refuseDuplicate(tr("The sensor with IP"), address());
            return;
        }
        if (!m_pickedSerial.isEmpty() && m_surroundings.hasSerial(m_pickedSerial)) {
            refuseDuplicate(tr("The sensor with serial number"), m_pickedSerial);
            return;
        }
    }
    m_timeouts = 0;
    m_sensor = new arcSensor(address(), port(), m_surroundings.timings, systemClock(), this);
    connect(m_sensor, &arcSensor::statusUpdate, this, &SensorDialog::statusUpdate);
    showStatus(neutralColour, tr("Connecting"), tr("Asking %1, port %2.").arg(address()).arg(port()));
}

void SensorDialog::statusUpdate(QString status_message)
{
    if (status_message == QLatin1String("Connecting")) {
        logDebug(QStringLiteral("SensorDialog::statusUpdate: Trying to connect to sensor."));
    } else if (status_message == QLatin1String("Disconnected")) {
        m_timeouts = 0;
        showStatus(waitingColour, tr("Disconnected"),
                   tr("Nothing answers like a sensor at %1, port %2. Check both; it is tried again meanwhile.")
                       .arg(address())
                       .arg(port()));
        logDebug(QStringLiteral("SensorDialog::statusUpdate: Reconnection failed. Retrying"));
    } else if (status_message == QLatin1String("Connected")) {
        showStatus(connectedColour, tr("Connected"));
        logDebug(QStringLiteral("SensorDialog::statusUpdate: Connected!!"));
        sensorAnswered();
    } else if (status_message == QLatin1String("Connection timed out")) {
        showStatus(timedOutColour, tr(retryingText),
                   tr("%1 does not answer. Is the sensor switched on, and on the same network?").arg(address()));
        if (++m_timeouts >= timeoutsForBox)
            timedOutForGood();
    }
}

void SensorDialog::sensorAnswered()
{
    if (!m_sensor)
        return;
    m_serial = m_sensor->info().serial_number;
    m_verifiedAddress = m_sensor->address();
    m_verifiedPort = m_sensor->port();
    showPlainly(ui->sensorSerial, m_serial);
    showPlainly(ui->sensorDate, m_sensor->info().build_date);
    dropTemporarySensor(); // the session's own connection must not share the sensor with it
    emit sensorSerial(m_serial);
    if (m_serial.trimmed().isEmpty()) {
        showStatus(waitingColour, tr("The device does not say its serial number"));
        return;
    }
    if (!m_known.serial.isEmpty() && m_serial != m_known.serial) {
        const int choice =
            m_prompts.choose(this, tr("Wrong sensor serial"), tr(otherSerial).arg(m_known.serial, m_serial, address()),
                             {tr("Wait! I'll check the sensor"), tr("Create a new connection")});
        if (choice != 1) {
            showStatus(waitingColour, tr("Another sensor answered"));
            m_serial.clear();
            return;
        }
    }
    if (m_serial != m_known.serial && m_surroundings.hasSerial(m_serial)) {
        refuseDuplicate(tr("The sensor with serial number"), m_serial);
        m_serial.clear();
        return;
    }
    ui->lb_hint->setText(m_serial == m_known.serial
                             ? tr("The sensor answered. \"%1\" records it again.").arg(ui->accept->text())
                             : tr("The sensor answered. \"%1\" records it into the session.").arg(ui->accept->text()));
    allowAccepting(true);
    ui->accept->setFocus();
}

void SensorDialog::timedOutForGood()
{
    dropTemporarySensor();
    const QString serial = m_known.serial.isEmpty() ? m_pickedSerial : m_known.serial;
    if (serial.isEmpty())
        m_prompts.warn(this, tr("Connection to sensor timed out"), tr(unknownTimedOut).arg(address()));
    else
        m_prompts.warn(this, tr("Connection to sensor timed out"), tr(knownTimedOut).arg(serial, address()),
                       {QString(), tr(scannerHint)});
}

void SensorDialog::dropTemporarySensor()
{
    if (!m_sensor)
        return;
    m_sensor->disconnect(this);
    m_sensor->stop();
    m_sensor->deleteLater(); // it may be its own signal that brought us here
    m_sensor = nullptr;
}

void SensorDialog::accepted()
{
    if (m_serial.isEmpty())
        return;
    dropTemporarySensor();
    if (m_serial == m_known.serial)
        emit sensorReconnectSuccessful(m_serial);
    accept();
}

void SensorDialog::discarded()
{
    dropTemporarySensor();
    reject();
}

void SensorDialog::showStatus(const QString &colour, const QString &text, const QString &hint)
{
    QPalette palette = ui->sensorStatus->palette(); // the colours are light in every theme
    palette.setColor(QPalette::Text, Qt::black);
    palette.setColor(QPalette::PlaceholderText, QColor(0x55, 0x55, 0x55));
    ui->sensorStatus->setPalette(palette);
    ui->sensorStatus->setStyleSheet(colour);
    ui->sensorStatus->setText(text);
    ui->sensorStatus->setCursorPosition(0);
    ui->lb_hint->setText(hint);
}
