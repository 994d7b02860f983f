#include "data/datanames.h"
#include "data/indexfile.h"

#include <QFile>
#include <QTextStream>
#include <QtTest>

namespace {

EventSummary arc(quint64 time, qint32 number)
{
    EventSummary event;
    event.time = time;
    event.typeCode = eventtype::E12;
    event.fileNumber = number;
    event.snapshot1 = {time + 2, 13561234, 101.5, -2.25, 1e-7};
    event.snapshot2 = {time, 13560000, 100000, 0, 0.5};
    event.snapshot3 = {time + 3, 0, -0.0, 1234567.5, 3};
    return event;
}

EventSummary userArc(quint64 time)
{
    EventSummary event = arc(time, 0);
    event.otherFile = QStringLiteral("imported.norvexevent");
    event.named = true;
    event.name = QStringLiteral("Z\u00fcndung;1");
    return event;
}

EventSummary run(quint64 time, qint32 number)
{
    EventSummary event = arc(time, number);
    event.typeCode = eventtype::RfOn;
    event.isOverridden = true;
    event.overrideCode = eventtype::RfOn;
    return event;
}

const QByteArray folder = "S1-Chamber A";

QByteArray wholeIndex()
{
    QByteArray out;
    Recipe recipe;
    recipe.initDefault(1);
    recipe.setRecipeName(QStringLiteral("End Blocks; Block Data"));
    indexfile::appendHeader(out, {QStringLiteral("S1"), QStringLiteral("Chamber A"), true, recipe.toCompactJSON()});
    indexfile::appendBlockStart(out, 2);
    indexfile::appendBlock(out, folder, QStringLiteral("block_1.norvexdata"), 1700000000000000, 1700000020000000);
    indexfile::appendBlock(out, folder, QStringLiteral("block_2.norvexdata"), 1700000020100000, 18446744073709551615U);
    indexfile::appendBlockEnd(out);
    indexfile::appendEventStart(out, 3);
    indexfile::appendEvent(out, folder, arc(1700000000000100, 1));
    indexfile::appendEvent(out, folder, userArc(1700000000000200));
    indexfile::appendEvent(out, folder, run(1700000000000300, 2));
    indexfile::appendEventEnd(out);
    return out;
}

QByteArray contentOf(const char *name)
{
    QFile file(QStringLiteral(NORVEX_TEST_DATA "/store/%1").arg(QLatin1String(name)));
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

QStringList blockNames(const IndexContent &content)
{
    QStringList names;
    for (const IndexBlock &block : content.blocks)
        names.append(block.file);
    return names;
}

QByteArray blockSection(const QByteArray &lines)
{
    return "Block Data;1\n" + lines + "End Blocks;\nEvent Data;0\nEnd Events;\n";
}

QByteArray eventSection(const QByteArray &lines)
{
    return "Block Data;0\nEnd Blocks;\nEvent Data;1\n" + lines + "End Events;\n";
}

} // namespace

class TestIndexFile : public QObject
{
    Q_OBJECT

private slots:
    void bytesAreFixed();
    void emptyStore();
    void roundTrip();
    void writtenTwiceIsTheSame();
    void carriageReturnsAreTaken();
    void headLines_data();
    void headLines();
    void configurationLines();
    void blockLines_data();
    void blockLines();
    void eventLines_data();
    void eventLines();
    void everyCutIsSurvived();
    void everyFlippedByteIsSurvived();
    void numbersAsTheStreamWritesThem();
    void numbersAreReadExactly_data();
    void numbersAreReadExactly();
};

void TestIndexFile::bytesAreFixed()
{
    QCOMPARE(wholeIndex(), contentOf("index.dat"));
}

void TestIndexFile::emptyStore()
{
    QByteArray out;
    indexfile::appendHeader(out, {QStringLiteral("S1"), QStringLiteral("Default"), false, {}});
    indexfile::appendBlockStart(out, 0);
    indexfile::appendBlockEnd(out);
    indexfile::appendEventStart(out, 0);
    indexfile::appendEventEnd(out);
    QCOMPARE(out, QByteArray("Arc detect data file ;V1.0.0\nSensor Serial ;S1\nChamber Serial;Default\n"
                             "Configuration Data;Error\nEnd Block Config;\nBlock Data;0\nEnd Blocks;\n"
                             "Event Data;0\nEnd Events;\n"));
    const IndexContent content = indexfile::read(out);
    QVERIFY(content.complete);
    QVERIFY(!content.missesBlocks());
}

void TestIndexFile::roundTrip()
{
    const IndexContent content = indexfile::read(wholeIndex());
    QVERIFY(content.complete);
    QCOMPARE(content.skippedLines, 0);
    QCOMPARE(content.sensorSerial, QStringLiteral("S1"));
    QCOMPARE(content.chamberSerial, QStringLiteral("Chamber A"));
    Recipe recipe;
    QVERIFY(recipe.fromJSON(content.recipe));
    QCOMPARE(recipe.recipeName(), QStringLiteral("End Blocks; Block Data"));
    QCOMPARE(content.announcedBlocks, 2);
    QCOMPARE(content.foundBlocks, 2);
    QCOMPARE(blockNames(content).join(QLatin1Char(' ')), QStringLiteral("block_1.norvexdata block_2.norvexdata"));
    QCOMPARE(content.blocks[1].folder, QString::fromLatin1(folder));
    QCOMPARE(content.blocks[1].firstTime, quint64(1700000020100000));
    QCOMPARE(content.blocks[1].lastTime, quint64(18446744073709551615U));
    QVERIFY(content.blocks[1].timesKnown);

    QCOMPARE(content.events.size(), std::size_t(3));
    const EventSummary &first = content.events[0];
    QCOMPARE(first.time, quint64(1700000000000100));
    QCOMPARE(first.typeCode, qint32(eventtype::E12));
    QCOMPARE(first.fileName(), QStringLiteral("Event_1.norvexevent"));
    QVERIFY(!first.isOverridden);
    QCOMPARE(first.snapshot1.frequency, 13561200.0); // six digits
    QCOMPARE(first.snapshot1.time, quint64(1700000000000102));
    QCOMPARE(first.snapshot2.voltage, 100000.0);
    QCOMPARE(first.snapshot3.currentReal, 1234570.0);
    const EventSummary &named = content.events[1];
    QVERIFY(named.named);
    QCOMPARE(named.name, QStringLiteral("Z\u00fcndung_1"));
    QCOMPARE(named.typeCode, qint32(eventtype::E12));
    QCOMPARE(named.fileName(), QStringLiteral("imported.norvexevent"));
    const EventSummary &rfOn = content.events[2];
    QVERIFY(rfOn.isRun());
    QVERIFY(rfOn.isOverridden);
    QCOMPARE(rfOn.endTime(), quint64(1700000000000303));
}

void TestIndexFile::writtenTwiceIsTheSame()
{
    QByteArray again;
    const IndexContent content = indexfile::read(wholeIndex());
    for (const EventSummary &event : content.events)
        indexfile::appendEvent(again, folder, event);
    QVERIFY2(wholeIndex().contains(again), again.constData());
}

void TestIndexFile::carriageReturnsAreTaken()
{
    const IndexContent content = indexfile::read(wholeIndex().replace('\n', "\r\n"));
    QVERIFY(content.complete);
    QCOMPARE(content.chamberSerial, QStringLiteral("Chamber A"));
    QCOMPARE(content.blocks[1].lastTime, quint64(18446744073709551615U));
    QCOMPARE(content.events.size(), std::size_t(3));
    QCOMPARE(content.events[2].snapshot3.currentImaginary, 3.0);
}

void TestIndexFile::headLines_data()
{
    QTest::addColumn<QByteArray>("lines");
    QTest::addColumn<QString>("chamber");
    QTest::addColumn<int>("announced");
    QTest::newRow("keyword in a value") << QByteArray("Chamber Serial;Block Data;9\nBlock Data;3\n") << "Block Data;9"
                                        << 3;
    QTest::newRow("keyword inside a line") << QByteArray("# Chamber Serial;B\n# Block Data;4\n") << "B" << 4;
    QTest::newRow("recipe with keywords")
        << QByteArray("Chamber Serial;C\nRecipe Last Data;{\"recipe_name\":\"Block Data;7\"}\n") << "C" << 0;
    QTest::newRow("count is no number") << QByteArray("Chamber Serial;D\nBlock Data;many\n") << "D" << 0;
    QTest::newRow("no value") << QByteArray("Chamber Serial\nBlock Data\n") << "" << 0;
}

void TestIndexFile::headLines()
{
    QFETCH(QByteArray, lines);
    QFETCH(QString, chamber);
    QFETCH(int, announced);
    const IndexContent content = indexfile::read(lines);
    QCOMPARE(content.chamberSerial, chamber);
    QCOMPARE(content.announcedBlocks, announced);
}

void TestIndexFile::configurationLines()
{
    const IndexContent content = indexfile::read("Configuration Data;OK\nSignal Base Threshold;12.5\nRefresh;block\n"
                                                 "End Block Config;\nBlock Data;0\nEnd Blocks;\n");
    QCOMPARE(content.configurationText, QByteArray("Signal Base Threshold;12.5\nRefresh;block\n"));
    QCOMPARE(content.foundBlocks, 0);
    const IndexContent unended = indexfile::read("Configuration Data;OK\nLabel;1\nBlock Data;1\nblock;a;b;1;2\n");
    QCOMPARE(unended.configurationText, QByteArray("Label;1\n"));
    QCOMPARE(unended.blocks.size(), 1);
}

void TestIndexFile::blockLines_data()
{
    QTest::addColumn<QByteArray>("lines");
    QTest::addColumn<QString>("names");
    QTest::addColumn<int>("found");
    QTest::addColumn<int>("skipped");
    QTest::addColumn<bool>("timesKnown");
    QTest::newRow("more fields") << QByteArray("block;s;a;1;2;3;4\n") << "a" << 1 << 0 << true;
    QTest::newRow("four fields") << QByteArray("block;s;a;1\n") << "a" << 1 << 0 << false;
    QTest::newRow("three fields") << QByteArray("block;s;a\n") << "a" << 1 << 0 << false;
    QTest::newRow("two fields") << QByteArray("block;s\n") << "" << 1 << 1 << false;
    QTest::newRow("keyword alone") << QByteArray("block\n") << "" << 1 << 1 << false;
    QTest::newRow("other lines") << QByteArray("\nremark\nblock;s;a;1;2\n") << "a" << 1 << 0 << true;
    QTest::newRow("not at the start") << QByteArray("  block;s;a;1;2\n") << "a" << 1 << 0 << true;
    QTest::newRow("time is a text") << QByteArray("block;s;a;x;2\n") << "" << 1 << 1 << false;
    QTest::newRow("negative time") << QByteArray("block;s;a;-1;2\n") << "" << 1 << 1 << false;
    QTest::newRow("time past 64 bits") << QByteArray("block;s;a;1;18446744073709551616\n") << "" << 1 << 1 << false;
    QTest::newRow("blanks around numbers") << QByteArray("block;s;a; 1 ; 2\n") << "a" << 1 << 0 << true;
    QTest::newRow("parent folder") << QByteArray("block;s;../a;1;2\n") << "" << 1 << 1 << false;
    QTest::newRow("absolute") << QByteArray("block;s;/etc/passwd;1;2\n") << "" << 1 << 1 << false;
    QTest::newRow("other separator") << QByteArray("block;s;..\\a;1;2\n") << "" << 1 << 1 << false;
    QTest::newRow("no name") << QByteArray("block;s;;1;2\n") << "" << 1 << 1 << false;
    QTest::newRow("end inside a line") << QByteArray("block;s;a;1;2\nx End Blocks block\nblock;s;b;1;2\n") << "a" << 1
                                       << 0 << true;
}

void TestIndexFile::blockLines()
{
    QFETCH(QByteArray, lines);
    QFETCH(QString, names);
    QFETCH(int, found);
    QFETCH(int, skipped);
    QFETCH(bool, timesKnown);
    const IndexContent content = indexfile::read(blockSection(lines));
    QCOMPARE(blockNames(content).join(QLatin1Char(' ')), names);
    QCOMPARE(content.foundBlocks, found);
    QCOMPARE(content.skippedLines, skipped);
    QCOMPARE(content.problems.size(), skipped);
    if (!content.blocks.isEmpty())
        QCOMPARE(content.blocks[0].timesKnown, timesKnown);
}

void TestIndexFile::eventLines_data()
{
    QTest::addColumn<QByteArray>("line");
    QTest::addColumn<QByteArray>("changed");
    QTest::addColumn<bool>("taken");
    QByteArray good;
    indexfile::appendEvent(good, folder, arc(1000, 7));
    QTest::newRow("as written") << good << good << true;
    QTest::newRow("no line end") << good << good.trimmed() << true;
    QTest::newRow("unknown type") << good << QByteArray(good).replace(";E12;", ";E99;") << true;
    QTest::newRow("a field more") << good << good.trimmed() + ";8\n" << true;
    QTest::newRow("a field less") << good << good.left(good.lastIndexOf(';')) + "\n" << false;
    QTest::newRow("code is a text") << good << QByteArray(good).replace(";E12;0;1;", ";E12;0;x;") << false;
    QTest::newRow("attribute is a text") << good << QByteArray(good).replace(";E12;0;1;", ";E12;x;1;") << false;
    QTest::newRow("time is a text") << good << QByteArray(good).replace(";1000;E12", ";now;E12") << false;
    QTest::newRow("voltage is a text") << good << QByteArray(good).replace(";101.5;", ";101,5;") << false;
    QTest::newRow("outside the folder") << good
                                        << QByteArray(good).replace("Event_7.norvexevent", "../Event_7.norvexevent")
                                        << false;
    QTest::newRow("keyword alone") << good << QByteArray("Event;\n") << false;
}

void TestIndexFile::eventLines()
{
    QFETCH(QByteArray, line);
    QFETCH(QByteArray, changed);
    QFETCH(bool, taken);
    QVERIFY(!taken || line == changed || changed != line);
    const IndexContent content = indexfile::read(eventSection(changed.endsWith('\n') ? changed : changed + '\n'));
    QCOMPARE(content.events.size(), std::size_t(taken ? 1 : 0));
    QCOMPARE(content.skippedLines, taken ? 0 : 1);
    QCOMPARE(content.foundEvents, 1);
    QVERIFY(content.complete);
    if (taken)
        QCOMPARE(content.events[0].snapshot3.currentImaginary, 3.0);
}

void TestIndexFile::everyCutIsSurvived()
{
    const QByteArray whole = wholeIndex();
    for (int length = 0; length < whole.size(); ++length) {
        const IndexContent content = indexfile::read(whole.left(length));
        QVERIFY(content.blocks.size() <= 2 && content.events.size() <= 3);
        // Only the last ";" and the line end may be missing from a complete index.
        QCOMPARE(content.complete, length >= whole.size() - 2);
    }
}

void TestIndexFile::everyFlippedByteIsSurvived()
{
    const QByteArray whole = wholeIndex();
    for (int i = 0; i < whole.size(); ++i) {
        for (const int bit : {1, 16, 128}) {
            QByteArray damaged = whole;
            damaged[i] = static_cast<char>(damaged.at(i) ^ bit);
            const IndexContent content = indexfile::read(damaged);
            QVERIFY(content.blocks.size() <= 3 && content.events.size() <= 4);
            for (const IndexBlock &block : content.blocks)
                QVERIFY(datanames::isPlainFileName(block.file));
        }
    }
}

void TestIndexFile::numbersAsTheStreamWritesThem()
{
    for (const double value : {0.0, -0.0, 13560000.0, 13561234.0, 0.1, 1e-5, 1e-4, 123456.5, -99999.95, 1e300}) {
        EventSummary event = arc(5, 1);
        event.snapshot3.currentImaginary = value;
        QByteArray line;
        indexfile::appendEvent(line, folder, event);
        QString text;
        QTextStream stream(&text);
        stream << value;
        QCOMPARE(QString::fromLatin1(line.mid(line.lastIndexOf(';') + 1).trimmed()), text);
    }
}

void TestIndexFile::numbersAreReadExactly_data()
{
    QTest::addColumn<QByteArray>("text");
    for (const char *text : {"0", "-0", "5.", ".5", "0.1", "-2.25", "123456.7", "1e22", "1.35612e+07", "9.99999e-05",
                             "999999999999999", "9999999999999999", "0.123456789012345", "0.1234567890123456789",
                             "12345678.90123456789", "1e400", "4.9e-324", "inf", "-inf"})
        QTest::newRow(text) << QByteArray(text);
    for (int i = 1; i < 200; ++i) {
        const double value = i * 7919.0 / (1 << (i % 23)) * (i % 2 ? 1 : -1);
        QTest::newRow(qPrintable(QString::number(i))) << QByteArray::number(value, 'g', 3 + i % 15);
    }
}

void TestIndexFile::numbersAreReadExactly()
{
    QFETCH(QByteArray, text);
    QByteArray line;
    indexfile::appendEvent(line, folder, arc(1000, 7));
    line.replace(";101.5;", ";" + text + ";");
    const IndexContent content = indexfile::read(eventSection(line));
    bool ok = false;
    const double expected = text.toDouble(&ok);
    QCOMPARE(content.events.size(), std::size_t(ok ? 1 : 0));
    if (ok)
        QVERIFY(content.events[0].snapshot1.voltage == expected);
}

QTEST_GUILESS_MAIN(TestIndexFile)
#include "tst_indexfile.moc"
