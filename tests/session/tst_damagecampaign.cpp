#include "data/eventtypelist.h"
#include "session/sessioncheck.h"
#include "session/sessionrepair.h"
#include "sessionfixture.h"

#include <QRandomGenerator>
#include <QtTest>

// Harms copies of one real session at random, repairs them and counts what is left. "tst_damagecampaign 1000" runs so
// many cases; each has its number as seed, and "tst_damagecampaign 1 73" runs case 73 alone.

namespace {

int caseCount = 60;
int firstCase = 1;

constexpr int sensorCount = 2;
constexpr int blocksPerSensor = 4;
constexpr int samplesPerBlock = 50;
constexpr int eventsPerSensor = 6;
constexpr int journalSamples = 20;
constexpr int recordSize = 196;

QByteArray contentOf(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

bool writeFile(const QString &path, const QByteArray &bytes)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly | QIODevice::Truncate) && file.write(bytes) == bytes.size();
}

/// In memory where there is such a folder: every case syncs some dozens of files.
QString placeForFiles()
{
    const QString memory = QStringLiteral("/dev/shm");
    return (QFileInfo(memory).isWritable() ? memory : QDir::tempPath()) + QStringLiteral("/campaign-XXXXXX");
}

QString sensorName(int sensor)
{
    return QStringLiteral("S%1-PM%1").arg(sensor);
}

/// Second of the first sample of a block; every sensor has a day of its own, so that a time tells its sensor.
int firstSecond(int sensor, int block)
{
    return sensor * 86400 + block * 1000;
}

EventRecord eventAt(int sensor, int number)
{
    EventRecord event;
    event.samples = samplesFrom(firstSecond(sensor, 1) + number * 10, 5);
    event.time = event.samples.constFirst().time;
    event.typeCode = number == 0 ? eventtype::RfOn : number % 9;
    return event;
}

/// What must be there after the repair, and what may be.
struct Expected
{
    QSet<quint64> samples; // undamaged: must be there once
    QSet<quint64> damaged; // may be gone, changed or there
    QSet<EventKey> events;
    QSet<quint64> damagedEvents; // their times
    QStringList lostFiles;       // the report must name them
};

/// One damaged copy of the session.
class Case
{
public:
    Case(const QString &folder, int seed, const Expected &sound)
        : m_folder(folder), m_random(quint32(seed)), expected(sound)
    {}

    void harm();
    QStringList done; // in words, for the report of a failure
    bool indexHarmed = false;

private:
    int below(int limit) { return int(m_random.bounded(limit)); }
    int anySensor() { return 1 + below(sensorCount); }
    QString blockName() { return QStringLiteral("/block_%1.norvexdata").arg(1 + below(blocksPerSensor)); }
    QString eventName() { return QStringLiteral("/Event_%1.norvexevent").arg(1 + below(eventsPerSensor)); }

    void harmBlock();
    void harmEvent();
    void harmIndex();
    void harmSessionFile();
    void harmJournal();
    void addHostileFiles();
    QByteArray harmedText(const QByteArray &text);
    QByteArray flipped(QByteArray bytes, int *at);
    void loseBlock(const QByteArray &bytes, int from, int to);
    void loseEvent(const QString &path);

    const QString m_folder;
    QRandomGenerator m_random;

public:
    Expected expected;
};

QByteArray Case::flipped(QByteArray bytes, int *at)
{
    *at = below(bytes.size());
    bytes[*at] = char(bytes.at(*at) ^ (1 << below(8)));
    return bytes;
}

/// The records `from` to `to` of a block's original bytes may be gone.
void Case::loseBlock(const QByteArray &bytes, int from, int to)
{
    for (int i = from; i < to; ++i) {
        const quint64 time = qFromBigEndian<quint64>(bytes.constData() + 12 + i * recordSize);
        expected.samples.remove(time);
        expected.damaged.insert(time);
    }
}

void Case::harmBlock()
{
    const int sensor = anySensor();
    const QString name = sensorName(sensor) + blockName();
    const QString path = m_folder + QLatin1Char('/') + name;
    const QByteArray bytes = contentOf(path);
    const int count = (bytes.size() - 12) / recordSize;
    if (bytes.size() < 12)
        return; // harmed before
    const QString other = m_folder + QLatin1Char('/') + sensorName(sensor) + blockName();
    int at = 0;
    switch (below(6)) {
    case 0:
        at = below(bytes.size());
        writeFile(path, bytes.left(at));
        loseBlock(bytes, at < 12 ? 0 : (at - 12) / recordSize, count);
        done << QStringLiteral("%1 cut at %2").arg(name).arg(at);
        break;
    case 1: {
        const QByteArray harmed = flipped(bytes, &at);
        writeFile(path, harmed);
        const bool headerLost = at < 4 || (at >= 8 && at < 12 && qFromBigEndian<qint32>(harmed.constData() + 8) < 0);
        if (headerLost)
            loseBlock(bytes, 0, count);
        else if (at >= 12)
            loseBlock(bytes, (at - 12) / recordSize, (at - 12) / recordSize + 1);
        done << QStringLiteral("%1 flipped at %2").arg(name).arg(at);
        break;
    }
    case 2:
        QFile::remove(path);
        loseBlock(bytes, 0, count);
        expected.lostFiles << name.section(QLatin1Char('/'), 1);
        done << name + QStringLiteral(" removed");
        break;
    case 3:
        QFile::copy(path, m_folder + QLatin1Char('/') + sensorName(sensor) +
                              QStringLiteral("/block_%1.norvexdata").arg(20 + below(50)));
        done << name + QStringLiteral(" doubled");
        break;
    case 4:
        if (other != path && QFile::exists(other)) {
            QFile::rename(path, path + QStringLiteral("x"));
            QFile::rename(other, path);
            QFile::rename(path + QStringLiteral("x"), other);
            done << name + QStringLiteral(" swapped with ") + other;
        }
        break;
    default:
        writeFile(path, bytes + QByteArray(1 + below(400), 'x'));
        // Whole records behind the last one cannot be told from a damaged count.
        done << name + QStringLiteral(" goes on behind its end");
    }
}

void Case::loseEvent(const QString &path)
{
    const QByteArray bytes = contentOf(path);
    if (bytes.size() < 20)
        return;
    const quint64 time = qFromBigEndian<quint64>(bytes.constData() + 8);
    for (int code = 0; code < 20; ++code)
        expected.events.remove({time, code});
    expected.damagedEvents.insert(time);
}

void Case::harmEvent()
{
    const QString name = sensorName(anySensor()) + eventName();
    const QString path = m_folder + QLatin1Char('/') + name;
    const QByteArray bytes = contentOf(path);
    const QString other = m_folder + QLatin1Char('/') + name.section(QLatin1Char('/'), 0, 0) + eventName();
    int at = 0;
    if (bytes.isEmpty())
        return;
    switch (below(5)) {
    case 0:
        loseEvent(path);
        writeFile(path, bytes.left(below(bytes.size())));
        done << name + QStringLiteral(" cut");
        break;
    case 1:
        loseEvent(path);
        writeFile(path, flipped(bytes, &at));
        done << QStringLiteral("%1 flipped at %2").arg(name).arg(at);
        break;
    case 2:
        loseEvent(path);
        QFile::remove(path);
        done << name + QStringLiteral(" removed");
        break;
    case 3:
        QFile::copy(path, path.section(QLatin1Char('/'), 0, -2) + QStringLiteral("/Event_2147483647.norvexevent"));
        done << name + QStringLiteral(" doubled");
        break;
    default:
        if (other != path && QFile::exists(other)) {
            QFile::rename(path, path + QStringLiteral("x"));
            QFile::rename(other, path);
            QFile::rename(path + QStringLiteral("x"), other);
            done << name + QStringLiteral(" swapped");
        }
    }
}

QByteArray Case::harmedText(const QByteArray &text)
{
    static const QByteArrayList hostile{"block;S1;../../../etc/passwd;1;2\n",
                                        "block;S1\n",
                                        "Event;S1;/etc/passwd;1;E11;0;0\n",
                                        "Block Data;2147483647\n",
                                        "Event Data;-1\n",
                                        "End Events;\n",
                                        "sensor;../..;S9;PM9\n",
                                        "sensor;S1-PM1;S1;PM1\n",
                                        "Sensor Data;99999999999\n",
                                        "block;S1;block_99.norvexdata;18446744073709551615;0\n",
                                        QByteArray(3000, ';') + "\n",
                                        QByteArray("\0\xff\xfe\n", 4)};
    const int at = below(text.size() + 1);
    const int line = text.lastIndexOf('\n', at) + 1;
    int unused = 0;
    switch (below(4)) {
    case 0:
        return text.left(at);
    case 1:
        return text.isEmpty() ? text : flipped(text, &unused);
    case 2:
        return text.left(line) + hostile.at(below(hostile.size())) + text.mid(line);
    default:
        return text.left(line) + text.mid(text.indexOf('\n', line) + 1);
    }
}

void Case::harmIndex()
{
    const QString name = sensorName(anySensor()) + QStringLiteral("/index.dat");
    const QString path = m_folder + QLatin1Char('/') + name;
    const QByteArray text = contentOf(path);
    indexHarmed = true;
    switch (below(4)) {
    case 0:
        QFile::remove(path);
        done << name + QStringLiteral(" removed");
        break;
    case 1:
        QFile::copy(path, path + QStringLiteral(".bakup"));
        writeFile(path, harmedText(text));
        done << name + QStringLiteral(" harmed, with a backup");
        break;
    case 2:
        writeFile(path + QStringLiteral(".bakup"), harmedText(text));
        done << name + QStringLiteral(" with a harmed backup");
        break;
    default:
        writeFile(path, harmedText(text));
        done << name + QStringLiteral(" harmed");
    }
}

void Case::harmSessionFile()
{
    const QString path = m_folder + QLatin1Char('/') + Session::fileName();
    if (below(4) == 0)
        QFile::remove(path);
    else
        writeFile(path, harmedText(contentOf(path)));
    done << QStringLiteral("session file harmed: ") +
                QString::fromUtf8(contentOf(path).toPercentEncoding(" ;\n", "", '%'));
}

void Case::harmJournal()
{
    const QDir journal(m_folder + QStringLiteral("/journal"));
    const QStringList names = journal.entryList(QDir::Files, QDir::Name);
    if (names.isEmpty())
        return;
    const QString path = journal.filePath(names.at(below(names.size())));
    const QByteArray bytes = contentOf(path);
    int at = 0;
    if (bytes.isEmpty())
        return;
    writeFile(path, below(2) == 0 ? bytes.left(below(bytes.size())) : flipped(bytes, &at));
    for (int sensor = 1; sensor <= sensorCount; ++sensor) {
        for (const SamplePoint &sample : samplesFrom(firstSecond(sensor, blocksPerSensor), journalSamples)) {
            expected.samples.remove(sample.time);
            expected.damaged.insert(sample.time);
        }
    }
    done << QStringLiteral("journal harmed");
}

void Case::addHostileFiles()
{
    const QString folder = m_folder + QLatin1Char('/') + sensorName(anySensor());
    QByteArray huge("\0\0\0\4\0\0\0\0\x7f\xff\xff\xff", 12);
    switch (below(5)) {
    case 0:
        writeFile(folder + QStringLiteral("/block_31.norvexdata"), huge + QByteArray(300, 'y'));
        expected.damaged.insert(qFromBigEndian<quint64>("yyyyyyyy"));
        break;
    case 1:
        QDir().mkpath(folder + QStringLiteral("/block_32.norvexdata/x"));
        break;
    case 2:
        writeFile(folder + QStringLiteral("/Event_33.norvexevent"), QByteArray(2000, '\x7f'));
        break;
    case 3:
        writeFile(folder + QStringLiteral("/block_1.norvexdata.4711-1.norvex-tmp"), huge);
        break;
    default:
        writeFile(folder + QStringLiteral("/config_last.norvexconfig"), QByteArray("{\"a\":"));
    }
    done << QStringLiteral("a strange file in ") + folder;
}

void Case::harm()
{
    const int faults = 1 + below(3);
    for (int i = 0; i < faults; ++i) {
        switch (below(8)) {
        case 0:
        case 1:
        case 2:
            harmBlock();
            break;
        case 3:
            harmEvent();
            break;
        case 4:
            harmIndex();
            break;
        case 5:
            harmSessionFile();
            break;
        case 6:
            harmJournal();
            break;
        default:
            addHostileFiles();
        }
    }
}

QString textOf(const SessionRepair &repair)
{
    QString text = repair.reason + repair.problems.join(QLatin1Char('\n'));
    for (const SessionRepair::Sensor &sensor : repair.sensors)
        text += sensor.folder + QLatin1Char('\n') + sensor.found.join(QLatin1Char('\n')) + QLatin1Char('\n') +
                sensor.repair.changes.join(QLatin1Char('\n'));
    return text;
}

} // namespace

class TestDamageCampaign : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void everyUndamagedRecordIsThereOnce_data();
    void everyUndamagedRecordIsThereOnce();

private:
    void compare(const Session &session, const Case &harmed);

    QTemporaryDir m_folder{placeForFiles()};
    Expected m_sound;
};

void TestDamageCampaign::initTestCase()
{
    qInstallMessageHandler([](QtMsgType, const QMessageLogContext &, const QString &) {});
    const QString live = m_folder.filePath(QStringLiteral("live"));
    const auto session = Session::create(live, nullptr);
    for (int sensor = 1; sensor <= sensorCount; ++sensor) {
        const auto store = session->addSensor(QStringLiteral("S%1").arg(sensor), QStringLiteral("PM%1").arg(sensor),
                                              QStringLiteral("127.0.0.1"), 80);
        QCOMPARE(store->folderName(), sensorName(sensor));
        for (int block = 0; block < blocksPerSensor; ++block) {
            store->setTimeLine({true, block, 1}); // begins a new block
            const QVector<SamplePoint> samples = samplesFrom(firstSecond(sensor, block), samplesPerBlock);
            QVERIFY(store->addSamples(samples));
            for (const SamplePoint &sample : samples)
                m_sound.samples.insert(sample.time);
        }
        for (int i = 0; i < eventsPerSensor; ++i) {
            QVERIFY(store->addEvent(eventAt(sensor, i)));
            m_sound.events.insert(keyOf(eventAt(sensor, i)));
        }
    }
    QVERIFY(session->save());
    for (int sensor = 1; sensor <= sensorCount; ++sensor) {
        const auto store = session->store(QStringLiteral("S%1").arg(sensor));
        const QVector<SamplePoint> samples = samplesFrom(firstSecond(sensor, blocksPerSensor), journalSamples);
        QVERIFY(store->addSamples(samples));
        for (const SamplePoint &sample : samples)
            m_sound.samples.insert(sample.time);
        bool durable = false;
        store->whenDurable(this, [&](bool ok) { durable = ok; });
        QTRY_VERIFY_WITH_TIMEOUT(durable, 20000);
    }
    QVERIFY(copySession(live, m_folder.filePath(QStringLiteral("sound"))));
}

void TestDamageCampaign::everyUndamagedRecordIsThereOnce_data()
{
    QTest::addColumn<int>("seed");
    QTest::newRow("nothing harmed") << 0;
    for (int i = 0; i < caseCount; ++i)
        QTest::addRow("%d", firstCase + i) << firstCase + i;
    for (const int seed : {5701, 20309}) // these lost something once
        QTest::addRow("again %d", seed) << seed;
}

void TestDamageCampaign::compare(const Session &session, const Case &harmed)
{
    QHash<quint64, int> samples;
    QHash<EventKey, int> events;
    for (const SensorEntry &entry : session.sensors()) {
        QVector<SamplePoint> all;
        QVERIFY(entry.data->samplesInRange(0, ~quint64(0), all));
        for (const SamplePoint &sample : all)
            ++samples[sample.time];
        for (const EventRecord &event : entry.data->eventsInRange(0, ~quint64(0)))
            ++events[keyOf(event)];
        for (const RunRecord &run : entry.data->runsInRange(0, ~quint64(0)))
            ++events[{run.start, eventtype::RfOn}];
    }
    for (const quint64 time : harmed.expected.samples)
        QVERIFY2(samples.value(time) == 1, qPrintable(QStringLiteral("sample %1").arg(time)));
    for (const EventKey &key : harmed.expected.events)
        QVERIFY2(events.value(key) == 1, qPrintable(QStringLiteral("event %1").arg(key.time)));
    for (auto it = samples.cbegin(); it != samples.cend(); ++it)
        QVERIFY2(it.value() == 1, qPrintable(QStringLiteral("sample %1 is doubled").arg(it.key())));
    // What is there beyond is a damaged record.
    const int others = samples.size() - harmed.expected.samples.size();
    QVERIFY(others <= harmed.expected.damaged.size() + 2);
}

void TestDamageCampaign::everyUndamagedRecordIsThereOnce()
{
    QFETCH(int, seed);
    const QTemporaryDir folder(placeForFiles());
    const QString path = folder.filePath(QStringLiteral("s"));
    QVERIFY(copySession(m_folder.filePath(QStringLiteral("sound")), path));
    Case harmed(path, seed, m_sound);
    if (seed > 0)
        harmed.harm();
    // Opening the damaged session as it is must not make anything worse.
    if (seed % 4 == 1)
        Session::load(path, nullptr);

    const SessionRepair repair = repairSession(path);
    const QString story = harmed.done.join(QLatin1Char('\n')) + QStringLiteral("\n--\n") + textOf(repair);
    const auto guard = qScopeGuard([&] {
        if (QTest::currentTestFailed())
            fprintf(stderr, "%s\n", qPrintable(story));
    });
    QVERIFY(repair.isSessionThere());
    const SessionCheck check = checkSession(path);
    QVERIFY2(!check.isDamaged(), qPrintable(check.problems.join(QLatin1Char('\n'))));
    QVERIFY(repairSession(path).outcome == SessionRepair::Outcome::Sound);
    for (const QString &name : harmed.expected.lostFiles) {
        if (seed % 4 != 1 && !harmed.indexHarmed) // nothing else knows that there was such a file
            QVERIFY2(story.section(QStringLiteral("--"), 1).contains(name), qPrintable(name));
    }
    SessionError error;
    const std::unique_ptr<Session> session = Session::load(path, &error);
    QVERIFY2(session, qPrintable(error.text));
    compare(*session, harmed);
}

int main(int argc, char **argv)
{
    QCoreApplication application(argc, argv);
    QStringList arguments = QCoreApplication::arguments();
    bool isNumber = false;
    if (arguments.value(1).toInt(&isNumber); isNumber)
        caseCount = arguments.takeAt(1).toInt();
    if (arguments.value(1).toInt(&isNumber); isNumber)
        firstCase = arguments.takeAt(1).toInt();
    TestDamageCampaign test;
    return QTest::qExec(&test, arguments);
}

#include "tst_damagecampaign.moc"
