#include "sensor/webservice.h"

#include <QtEndian>
#include <QtTest>

#include <cmath>
#include <cstring>
#include <limits>

namespace {

template <typename T>
QByteArray little(T value)
{
    QByteArray out(int(sizeof value), '\0');
    qToLittleEndian(value, out.data());
    return out;
}

QByteArray little(float value)
{
    quint32 bits = 0;
    std::memcpy(&bits, &value, sizeof bits);
    return little(bits);
}

QByteArray binaryEvent(qint64 time, float voltageScale, float currentScale, qint16 code, const QByteArray &name,
                       const QVector<qint16> &triples)
{
    QByteArray out = little(time) + little(voltageScale) + little(currentScale) + little(code) +
                     little(quint16(triples.size() / 3)) + little(quint8(name.size())) + name;
    for (const qint16 raw : triples)
        out += little(raw);
    return out;
}

} // namespace

class TestWebservice : public QObject
{
    Q_OBJECT

private slots:
    void info_data();
    void info();
    void infoOfAnotherProgram();
    void frame_data();
    void frame();
    void status();
    void binaryEvents();
    void shortEvents();
    void eventTimes_data();
    void eventTimes();
    void textualEvents_data();
    void textualEvents();
    void damagedEvents();
};

void TestWebservice::info_data()
{
    QTest::addColumn<QByteArray>("reply");
    QTest::addColumn<QString>("text"); // serial|type|firmware|rev|frequencies|date
    QTest::newRow("usual") << QByteArray("{\r\n\"serial_number\":\"SN123\",\r\n\"sensor_type\":\"RFD\",\r\n"
                                         "\"firmware\":\"2.1\",\r\n\"fpga_rev\":\"7\",\r\n"
                                         "\"frequency\":[12882000, 13560000,14238000],\r\n\"build_date\":\"2024\"\r\n}")
                           << QStringLiteral("SN123|RFD|2.1|7|12882000 13560000 14238000|2024");
    QTest::newRow("short revision key") << QByteArray("\"rev\":\"A\",\n") << QStringLiteral("|||A||");
    QTest::newRow("both revision keys") << QByteArray("\"fpga_rev\":\"B\",\n\"rev\":\"A\",\n")
                                        << QStringLiteral("|||B||");
    QTest::newRow("both, other order") << QByteArray("\"rev\":\"A\",\n\"fpga_rev\":\"B\",\n")
                                       << QStringLiteral("|||B||");
    QTest::newRow("date with a time of day")
        << QByteArray("\"build_date\":\"Jan 2 2024 10:20:30\",\n") << QStringLiteral("|||||Jan 2 2024 1");
    QTest::newRow("upper case") << QByteArray("\"SERIAL_NUMBER\": \"x\",\n") << QStringLiteral("x|||||");
    QTest::newRow("empty list") << QByteArray("\"frequency\":[],\n\"firmware\":\"\",\n") << QStringLiteral("|||||");
    QTest::newRow("wild frequencies") << QByteArray("\"frequency\":[1e400,99999999999,x,-5],\n")
                                      << QStringLiteral("||||0 2147483647 0 -5|");
}

void TestWebservice::info()
{
    QFETCH(QByteArray, reply);
    QFETCH(QString, text);
    InfoWebservice info;
    QVERIFY(info.decode(reply));
    QStringList frequencies;
    for (const qint32 hz : info.frequency)
        frequencies += QString::number(hz);
    QCOMPARE(QStringList({info.serial_number, info.sensor_type, info.firmware, info.fpga_rev,
                          frequencies.join(QLatin1Char(' ')), info.build_date})
                 .join(QLatin1Char('|')),
             text);
}

void TestWebservice::infoOfAnotherProgram()
{
    InfoWebservice info;
    QVERIFY(info.decode("\"serial_number\":\"SN1\",\n"));
    for (const char *reply : {"", "{}", "<html><title>Printer</title></html>", "serial_number", "\"ink\":\"low\",\n"})
        QVERIFY2(!info.decode(reply), reply);
    QCOMPARE(info.serial_number, QStringLiteral("SN1"));
}

void TestWebservice::frame_data()
{
    QTest::addColumn<QByteArray>("reply");
    QTest::addColumn<QString>("text"); // start max points events, empty: refused
    QTest::newRow("numbers") << QByteArray("{\"start\":3000000000,\"max_transaction_points\":20,"
                                           "\"number_of_points\":45,\"number_of_events\":2}")
                             << QStringLiteral("3000000000 20 45 2");
    QTest::newRow("start as text") << QByteArray("{\"start\":\"1700000000000\",\"number_of_points\":1}")
                                   << QStringLiteral("1700000000000 0 1 0");
    QTest::newRow("negative and wild") << QByteArray("{\"start\":-1,\"number_of_points\":-5,"
                                                     "\"number_of_events\":1e300}")
                                       << QStringLiteral("-1 0 0 2147483647");
    QTest::newRow("fraction") << QByteArray("{\"start\":1.5,\"number_of_points\":10.5}") << QStringLiteral("1 0 10 0");
    QTest::newRow("no start") << QByteArray("{\"number_of_points\":45}") << QString();
    QTest::newRow("start is a word") << QByteArray("{\"start\":\"now\"}") << QString();
    QTest::newRow("start is true") << QByteArray("{\"start\":true}") << QString();
    QTest::newRow("array") << QByteArray("[1,2]") << QString();
    QTest::newRow("lists under one key") << QByteArray("{\"start\":1,\"a\":[1],\"a\":[2]}") << QString();
    QTest::newRow("cut") << QByteArray("{\"start\":1,\"number_of_points\":4") << QString();
    QTest::newRow("empty") << QByteArray() << QString();
}

void TestWebservice::frame()
{
    QFETCH(QByteArray, reply);
    QFETCH(QString, text);
    FrameWebservice frame;
    frame.number_of_points = 99;
    QCOMPARE(frame.decode(reply), !text.isEmpty());
    QCOMPARE(QStringLiteral("%1 %2 %3 %4")
                 .arg(frame.start)
                 .arg(frame.max_transaction_points)
                 .arg(frame.number_of_points)
                 .arg(frame.number_of_events),
             text.isEmpty() ? QStringLiteral("0 0 99 0") : text);
}

void TestWebservice::status()
{
    StatusWebservice status;
    QVERIFY(status.decode("{\"pcb_temperature\":41.5,\"sensor_temperature\":33.25,\"configuration_access\":\"rw\","
                          "\"uptime\":\"86400000\",\"sensor_time\":\"12:00\",\"fifo_resets\":3}"));
    QCOMPARE(status.pcb_temperature, 41.5);
    QCOMPARE(status.sensor_temperature, 33.25);
    QCOMPARE(status.configuration_access, QStringLiteral("rw"));
    QCOMPARE(status.uptime, QStringLiteral("86400000"));
    QCOMPARE(status.uptimeMs, qint64(86400000));
    QCOMPARE(status.sensor_time, QStringLiteral("12:00"));
    QCOMPARE(status.fifo_resets, 3);
    QVERIFY(!status.decode("nonsense"));
    QCOMPARE(status.fifo_resets, 3);
    QVERIFY(status.decode("{\"uptime\":\"a while\"}"));
    QCOMPARE(status.uptime, QStringLiteral("a while"));
    QCOMPARE(status.uptimeMs, qint64(-1));
    QVERIFY(status.decode("{\"uptime\":-13}"));
    QCOMPARE(status.uptime, QStringLiteral("-13"));
    QCOMPARE(status.uptimeMs, qint64(-1));
}

void TestWebservice::binaryEvents()
{
    EventWebservice event;
    const QByteArray record = binaryEvent(5'000'000, 0.5F, 0.001F, 4, "E22", {100, -200, 300, 32767, -32768, 0});
    QVERIFY(event.decode(record, 1'000));
    QCOMPARE(event.time, quint64(5'001'000));
    QCOMPARE(event.rawTimeUs, qint64(5'000'000));
    QCOMPARE(event.typeCode, 4);
    QCOMPARE(event.typeName, QStringLiteral("E22"));
    QCOMPARE(event.increment, 1U);
    QVERIFY(event.voltage == std::vector<float>({50.0F, 16383.5F}));
    QVERIFY(event.currentReal == std::vector<float>({-200 * 0.001F, -32768 * 0.001F}));
    QVERIFY(event.currentImaginary == std::vector<float>({300 * 0.001F, 0.0F}));
    QCOMPARE(event.missingBytes, 0);

    QVERIFY(event.decode(binaryEvent(0, 1, 1, 11, QByteArray("SNAP\0xyz", 8), {}), 77));
    QCOMPARE(event.typeName, QStringLiteral("SNAP"));
    QCOMPARE(event.time, quint64(77));
    QVERIFY(event.voltage.empty());

    QVERIFY(event.decode(binaryEvent(1, 1, 1, -3, "", {1, 2, 3}), 0));
    QVERIFY(event.typeName.isEmpty());
    QCOMPARE(event.typeCode, -3);
}

void TestWebservice::shortEvents()
{
    const QByteArray record = binaryEvent(0x0102030405060708, 2, 4, 1, "E12", {1, 1, 1, 2, 2, 2});
    EventWebservice event;
    for (int length = 0; length < record.size(); ++length) {
        QVERIFY(event.decode(record.left(length), 0));
        QVERIFY(event.voltage.size() == event.currentReal.size() &&
                event.voltage.size() == event.currentImaginary.size());
        QVERIFY(event.voltage.size() <= 2);
        QVERIFY(event.missingBytes > 0);
    }
    QVERIFY(event.decode(record.left(record.size() - 6), 0));
    QVERIFY(event.voltage == std::vector<float>({2.0F, 0.0F}));
    QCOMPARE(event.missingBytes, 6);
    QVERIFY(event.decode(record.left(record.size() - 3), 0)); // within the last sample: what is there counts
    QVERIFY(event.voltage == std::vector<float>({2.0F, 4.0F}));
    QVERIFY(event.decode(record.left(2), 0));
    QCOMPARE(event.rawTimeUs, qint64(0x0708));
    // The most that a header can announce, with nothing behind it.
    QVERIFY(event.decode(record.left(18) + QByteArray("\xff\xff\xff", 3), 0));
    QCOMPARE(event.voltage.size(), size_t(65535));
    QCOMPARE(event.missingBytes, 255 + 6 * 65535);
}

void TestWebservice::eventTimes_data()
{
    QTest::addColumn<qint64>("raw");
    QTest::addColumn<qint64>("base");
    QTest::addColumn<quint64>("time");
    constexpr qint64 most = std::numeric_limits<qint64>::max();
    constexpr qint64 least = std::numeric_limits<qint64>::min();
    QTest::newRow("sum") << qint64(5) << qint64(7) << quint64(12);
    QTest::newRow("below zero") << qint64(-8) << qint64(7) << quint64(0);
    QTest::newRow("overflow") << most << qint64(7) << quint64(most);
    QTest::newRow("underflow") << least << qint64(-7) << quint64(0);
}

void TestWebservice::eventTimes()
{
    QFETCH(qint64, raw);
    QFETCH(qint64, base);
    QFETCH(quint64, time);
    EventWebservice event;
    QVERIFY(event.decode(binaryEvent(raw, 1, 1, 0, "E11", {}), base));
    QCOMPARE(event.time, time);
}

void TestWebservice::textualEvents_data()
{
    QTest::addColumn<QByteArray>("reply");
    QTest::addColumn<QString>("text"); // time increment code name samples
    QTest::newRow("name") << QByteArray("{\r\n\"Time_us\":1000,\r\n\"Time_Increment_us\":2,\r\n\"Voltage\":[1.5,2],\r\n"
                                        "\"Current_Ir\":[0.5,1],\r\n\"Current_Ii\":[0,-1],\r\n\"type\":\"E13\"\r\n}")
                          << QStringLiteral("1010 2 2 E13 2");
    QTest::newRow("code") << QByteArray("{\r\n\"Time_us\":1000,\r\n\"type\":5,\r\n}")
                          << QStringLiteral("1010 1 5 E23 0");
    QTest::newRow("code out of range") << QByteArray("{\r\n\"Time_us\":1,\r\n\"type\":70000,\r\n}")
                                       << QStringLiteral("11 1 32767  0");
    QTest::newRow("uneven lists") << QByteArray("{\r\n\"Time_us\":1,\r\n\"Voltage\":[1,2,3],\r\n\"Current_Ir\":[1],\r\n"
                                                "\"Current_Ii\":[1,2],\r\n}")
                                  << QStringLiteral("11 1 0  1");
    const QByteArray many = '[' + QByteArray("7,").repeated(70000) + "7],\r\n";
    QTest::newRow("more than a binary record holds")
        << "{\r\n\"Time_us\":1,\r\n\"Voltage\":" + many + "\"Current_Ir\":" + many + "\"Current_Ii\":" + many
        << QStringLiteral("11 1 0  65535");
    QTest::newRow("count reply") << QByteArray("{\r\n\"Event Count\":12\r\n}") << QStringLiteral("10 1 0  0");
}

void TestWebservice::textualEvents()
{
    QFETCH(QByteArray, reply);
    QFETCH(QString, text);
    EventWebservice event;
    QVERIFY(event.decode(reply, 10));
    QCOMPARE(QStringLiteral("%1 %2 %3 %4 %5")
                 .arg(event.time)
                 .arg(event.increment)
                 .arg(event.typeCode)
                 .arg(event.typeName)
                 .arg(event.voltage.size()),
             text);
}

void TestWebservice::damagedEvents()
{
    EventWebservice event;
    const float wild = std::numeric_limits<float>::infinity();
    QVERIFY(event.decode(binaryEvent(1, wild, std::nanf(""), 0, "E11", {1, 1, 1, 0, 0, 0}), 0));
    for (size_t i = 0; i < 2; ++i)
        QVERIFY(event.voltage[i] == 0 && event.currentReal[i] == 0 && event.currentImaginary[i] == 0);
}

QTEST_APPLESS_MAIN(TestWebservice)
#include "tst_webservice.moc"
