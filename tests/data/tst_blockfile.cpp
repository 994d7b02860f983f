#include "data/blockfile.h"
#include "data/samples.h"

#include <QDir>
#include <QTemporaryDir>
#include <QtEndian>
#include <QtTest>

#include <limits>

class tst_BlockFile : public QObject
{
    Q_OBJECT

private slots:
    void goldenFiles_data();
    void goldenFiles();
    void theCurrentGoldenFileIsWrittenByteByByte();
    void everyLengthOfAFile_data();
    void everyLengthOfAFile();
    void damagedHeaders_data();
    void damagedHeaders();
    void everyHeaderBitFlipped();
    void whatFollowsTheRecordsIsIgnored();
    void filesThatAreNone_data();
    void filesThatAreNone();
    void filesAreReadAsTheirBytes_data();
    void filesAreReadAsTheirBytes();
};

static QByteArray golden(int version)
{
    QFile file(QStringLiteral(NORVEX_TEST_DATA "/blocks/version%1.norvexdata").arg(version));
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

/// What blocks/makeblocks.py put into record `number` of a version.
static SamplePoint goldenSample(int version, int number)
{
    SamplePoint s;
    s.time = 1600000000000000ULL + static_cast<quint64>(number) * 2000;
    s.frequency = 13560000.0 + number;
    s.voltage = 100.25 * number;
    s.currentReal = -1.5;
    s.currentImaginary = 2.75;
    if (version < 2)
        return s;
    s.numberOfPulses = 10 + number;
    s.pulsePeriod = 10000.125;
    s.slot1OnTime = 5000 + number;
    s.slot1VoltageAvg = 10.0 + number;
    s.slot1VoltageMax = 10.5 + number;
    s.slot1VoltageMin = 11.0 + number;
    s.slot1CurrentAvg = 11.5 + number;
    s.slot1CurrentMax = 12.0 + number;
    s.slot1CurrentMin = 12.5 + number;
    if (version < 3)
        return s;
    s.slot2OnTime = 250;
    s.slot2VoltageAvg = 20.0 + number;
    s.slot2VoltageMax = 20.5 + number;
    s.slot2VoltageMin = 21.0 + number;
    s.slot2CurrentAvg = 21.5 + number;
    s.slot2CurrentMax = 22.0 + number;
    s.slot2CurrentMin = 22.5 + number;
    if (version < 4)
        return s;
    for (int i = 0; i < 10; ++i)
        s.eventCounts[static_cast<std::size_t>(i)] = 100 * number + i;
    return s;
}

static blockfile::Content decoded(const QByteArray &bytes)
{
    return blockfile::decodeBlock(bytes.constData(), bytes.size());
}

static QByteArray header(qint32 version, qint32 reserved, qint32 count)
{
    QByteArray bytes(blockfile::headerSize, '\0');
    qToBigEndian(version, bytes.data());
    qToBigEndian(reserved, bytes.data() + 4);
    qToBigEndian(count, bytes.data() + 8);
    return bytes;
}

void tst_BlockFile::goldenFiles_data()
{
    QTest::addColumn<int>("version");
    for (int version = 1; version <= 4; ++version)
        QTest::addRow("version %d", version) << version;
}

void tst_BlockFile::goldenFiles()
{
    QFETCH(int, version);
    const blockfile::Content content = decoded(golden(version));
    QVERIFY2(content.complete, qPrintable(content.reason));
    QCOMPARE(content.version, version);
    QCOMPARE(content.announced, 3);
    QCOMPARE(content.samples.size(), 3);
    for (int number = 1; number <= 3; ++number)
        QVERIFY(content.samples.at(number - 1) == goldenSample(version, number));
}

void tst_BlockFile::theCurrentGoldenFileIsWrittenByteByByte()
{
    const QVector<SamplePoint> list{goldenSample(4, 1), goldenSample(4, 2), goldenSample(4, 3)};
    QCOMPARE(blockfile::encodeBlock(list).toHex(), golden(4).toHex());
    QCOMPARE(blockfile::encodeBlock({}), header(4, 0, 0));
}

void tst_BlockFile::everyLengthOfAFile_data()
{
    goldenFiles_data();
}

void tst_BlockFile::everyLengthOfAFile()
{
    QFETCH(int, version);
    const QByteArray whole = golden(version);
    const int recordSize = (whole.size() - blockfile::headerSize) / 3;
    for (int length = 0; length < whole.size(); ++length) {
        const QByteArray cut(whole.constData(), length); // a copy, so that the sanitizer sees a read past its end
        const blockfile::Content content = decoded(cut);
        const int held = qMax(0, length - blockfile::headerSize) / recordSize;
        QVERIFY2(!content.complete && !content.reason.isEmpty(), qPrintable(QString::number(length)));
        QCOMPARE(content.samples.size(), held);
        for (int i = 0; i < held; ++i)
            QVERIFY(content.samples.at(i) == goldenSample(version, i + 1));
    }
}

void tst_BlockFile::damagedHeaders_data()
{
    QTest::addColumn<QByteArray>("start");
    QTest::addColumn<int>("samples");
    QTest::newRow("huge count") << header(4, 0, std::numeric_limits<qint32>::max()) << 3;
    QTest::newRow("count -1") << header(4, 0, -1) << 0;
    QTest::newRow("least count") << header(4, 0, std::numeric_limits<qint32>::min()) << 0;
    QTest::newRow("one record too many") << header(4, 0, 4) << 3;
    QTest::newRow("version 0") << header(0, 0, 3) << 0;
    QTest::newRow("version 5") << header(5, 0, 3) << 0;
    QTest::newRow("version 5 without records") << header(5, 0, 0) << 0;
    QTest::newRow("version -4") << header(-4, 0, 3) << 0;
}

void tst_BlockFile::damagedHeaders()
{
    QFETCH(QByteArray, start);
    QFETCH(int, samples);
    const blockfile::Content content = decoded(start + golden(4).mid(blockfile::headerSize));
    QVERIFY(!content.complete);
    QVERIFY(!content.reason.isEmpty());
    QCOMPARE(content.samples.size(), samples);
    QVERIFY(content.samples.capacity() < 100);
}

void tst_BlockFile::everyHeaderBitFlipped()
{
    for (int bit = 0; bit < blockfile::headerSize * 8; ++bit) {
        QByteArray bytes = golden(4);
        bytes[bit / 8] = static_cast<char>(bytes.at(bit / 8) ^ (1 << (bit % 8)));
        const blockfile::Content content = decoded(bytes);
        const bool inReserved = bit / 8 >= 4 && bit / 8 < 8;
        const bool stillSmaller = bit / 8 == 11 && bit % 8 < 2; // 3 records announced as 2 or 1
        QVERIFY2(content.complete == (inReserved || stillSmaller), qPrintable(QString::number(bit)));
        QVERIFY(content.samples.size() <= 15); // as many as version 1 would have in these bytes
    }
}

void tst_BlockFile::whatFollowsTheRecordsIsIgnored()
{
    const blockfile::Content content = decoded(golden(4) + QByteArray(500, 'x'));
    QVERIFY(content.complete);
    QCOMPARE(content.samples.size(), 3);
}

void tst_BlockFile::filesThatAreNone_data()
{
    QTest::addColumn<QString>("name");
    QTest::newRow("missing") << QStringLiteral("missing");
    QTest::newRow("folder") << QStringLiteral(".");
    QTest::newRow("device") << QStringLiteral("/dev/zero");
}

void tst_BlockFile::filesThatAreNone()
{
    QFETCH(QString, name);
    const QTemporaryDir folder;
    const blockfile::Content content = blockfile::readFile(QDir(folder.path()).filePath(name));
    QVERIFY(!content.opened);
    QVERIFY(!content.complete);
    QVERIFY(!content.reason.isEmpty());
    QVERIFY(content.samples.isEmpty());
}

void tst_BlockFile::filesAreReadAsTheirBytes_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QVector<SamplePoint> many; // more than are read at once
    for (int i = 0; i < 5000; ++i)
        many.append(distinctSample(i));
    const QByteArray large = blockfile::encodeBlock(many);
    for (int version = 1; version <= 4; ++version)
        QTest::addRow("version %d", version) << golden(version);
    QTest::newRow("large") << large;
    QTest::newRow("large, cut in a record") << large.left(large.size() - 70000);
    QTest::newRow("empty block") << blockfile::encodeBlock({});
    QTest::newRow("empty file") << QByteArray();
    QTest::newRow("half a header") << golden(4).left(6);
    QTest::newRow("text") << QByteArray("this is no block file, but it is longer than a header");
}

void tst_BlockFile::filesAreReadAsTheirBytes()
{
    QFETCH(QByteArray, bytes);
    const QTemporaryDir folder;
    const QString path = folder.filePath(QStringLiteral("block"));
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    QCOMPARE(file.write(bytes), qint64(bytes.size()));
    file.close();

    const blockfile::Content read = blockfile::readFile(path);
    const blockfile::Content expected = decoded(bytes);
    QVERIFY(read.opened);
    QCOMPARE(read.complete, expected.complete);
    QCOMPARE(read.reason, expected.reason);
    QCOMPARE(read.version, expected.version);
    QCOMPARE(read.announced, expected.announced);
    QVERIFY(read.samples == expected.samples);
}

QTEST_APPLESS_MAIN(tst_BlockFile)
#include "tst_blockfile.moc"
