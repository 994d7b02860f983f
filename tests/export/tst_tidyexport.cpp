#include "export/tidyexport.h"
#include "fakestore.h"

#include <QDir>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>
#include <QtTest>

#include <cstring>
#include <limits>

namespace {

using Row = QMap<QString, QString>;

QByteArray bytesOf(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

/// A reader of RFC 4180 that knows nothing of the writer.
QVector<Row> rowsOf(const QString &path)
{
    const QString text = QString::fromUtf8(bytesOf(path));
    QVector<QStringList> lines{{QString()}};
    bool quoted = false;
    for (int i = 0; i < text.size(); ++i) {
        const QChar c = text.at(i);
        if (quoted && c == QLatin1Char('"') && text.mid(i + 1, 1) == QLatin1String("\""))
            lines.last().last() += text.at(++i);
        else if (c == QLatin1Char('"'))
            quoted = !quoted;
        else if (!quoted && c == QLatin1Char(','))
            lines.last().append(QString());
        else if (!quoted && c == QLatin1Char('\r') && text.mid(i + 1, 1) == QLatin1String("\n"))
            ++i, lines.append(QStringList(QString()));
        else
            lines.last().last() += c;
    }
    QVector<Row> rows;
    for (int line = 1; line + 1 < lines.size(); ++line) {
        Row row;
        for (int cell = 0; cell < lines.at(line).size(); ++cell)
            row.insert(lines.first().value(cell), lines.at(line).at(cell));
        rows.append(row);
    }
    return rows;
}

quint64 bitsOf(double value)
{
    quint64 bits = 0;
    std::memcpy(&bits, &value, sizeof bits);
    return bits;
}

} // namespace

class tst_tidyexport : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        m_folder = std::make_unique<QTemporaryDir>();
        m_names = tidyNames(m_folder->filePath(QStringLiteral("a.vi.csv")));
        m_store = FakeStore();
        m_request = ExportRequest();
        m_request.eventTypes = eventtype::names();
        m_request.toIncluded = true;
    }

    void samplesReadBackBitForBit()
    {
        const double values[] = {0,      -0.0,         0.1, 1.0 / 3, 240.5625, 1e-300, -1.7976931348623157e308,
                                 5e-324, 123456789.125};
        quint64 time = 1707140710123005;
        for (const double value : values) {
            m_store.addSample(time, value, value / 7, -value);
            m_store.samples.last().eventCounts[9] = 3;
            m_store.samples.last().slot2OnTime = 21;
            time += 1001;
        }
        m_store.addSample(time, std::numeric_limits<double>::quiet_NaN());
        const ExportOutcome outcome = run();
        QCOMPARE(outcome.points, quint32(m_store.samples.size()));
        const QVector<Row> rows = rowsOf(m_names.of(ExportTable::Samples));
        QCOMPARE(rows.size(), m_store.samples.size());
        for (int i = 0; i + 1 < rows.size(); ++i) {
            const SamplePoint &sample = m_store.samples.at(i);
            const Row &row = rows.at(i);
            QCOMPARE(row.value(QStringLiteral("time_us")).toULongLong(), sample.time);
            QCOMPARE(bitsOf(row.value(QStringLiteral("voltage_V")).toDouble()), bitsOf(sample.voltage));
            QCOMPARE(bitsOf(row.value(QStringLiteral("current_real_A")).toDouble()), bitsOf(sample.currentReal));
            QCOMPARE(bitsOf(row.value(QStringLiteral("current_imaginary_A")).toDouble()),
                     bitsOf(sample.currentImaginary));
            QCOMPARE(row.value(QStringLiteral("events_EPE")), QStringLiteral("3"));
            QCOMPARE(row.value(QStringLiteral("slot2_on_time_us")), QStringLiteral("21"));
        }
        QCOMPARE(rows.at(0).value(QStringLiteral("time_utc")), QStringLiteral("2024-02-05T13:45:10.123005Z"));
        QCOMPARE(rows.last().value(QStringLiteral("voltage_V")), QString());
    }

    void eventsWaveformsAndRuns()
    {
        m_store.addSample(1000, 1);
        m_store.addSample(9000000, 1);
        m_store.addEvent(5000, eventtype::E22, 3);
        m_store.addEvent(2000, eventtype::E11, 2, true);
        std::swap(m_store.events[0], m_store.events[1]); // by time
        m_store.addRun(1000, 8000, 12.5);
        m_store.runs[0].recipe.setRecipeName(QStringLiteral("=1+2, \"quoted\""));
        const ExportOutcome outcome = run();
        QVERIFY(outcome.isWritten());
        const QVector<Row> events = rowsOf(m_names.of(ExportTable::Events));
        QCOMPARE(events.size(), 2);
        QCOMPARE(events.at(0).value(QStringLiteral("type")), QStringLiteral("E11"));
        QCOMPARE(events.at(1).value(QStringLiteral("time_us")), QStringLiteral("5000"));
        QCOMPARE(events.at(1).value(QStringLiteral("waveform_points")), QStringLiteral("3"));
        const QVector<Row> waveforms = rowsOf(m_names.of(ExportTable::Waveforms));
        QCOMPARE(waveforms.size(), 5);
        QCOMPARE(waveforms.at(2).value(QStringLiteral("offset_us")), QStringLiteral("-5"));
        QCOMPARE(waveforms.at(4).value(QStringLiteral("current_imaginary_A")), QStringLiteral("-8"));
        const QVector<Row> runs = rowsOf(m_names.of(ExportTable::Runs));
        QCOMPARE(runs.size(), 1);
        QCOMPARE(runs.at(0).value(QStringLiteral("duration_us")), QStringLiteral("7000"));
        QCOMPARE(runs.at(0).value(QStringLiteral("recipe")), QStringLiteral("'=1+2, \"quoted\""));

        const QJsonObject meta = QJsonDocument::fromJson(bytesOf(m_names.meta)).object();
        QCOMPARE(meta.value(QStringLiteral("sensor")).toString(), m_store.sensor);
        const QJsonObject tables = meta.value(QStringLiteral("tables")).toObject();
        QCOMPARE(tables.value(QStringLiteral("waveforms")).toObject().value(QStringLiteral("rows")).toInt(), 5);
        QCOMPARE(tables.value(QStringLiteral("runs")).toObject().value(QStringLiteral("file")).toString(),
                 QStringLiteral("a.runs.csv"));
    }

    void whatIsNotAskedForIsNotWritten()
    {
        m_store.addSample(1000, 1);
        m_request.exportEvents = false;
        m_request.exportRfOn = false;
        QVERIFY(run().isWritten());
        QCOMPARE(QDir(m_folder->path()).entryList(QDir::Files),
                 QStringList({QStringLiteral("a.csv"), QStringLiteral("a.meta.json")}));
        QCOMPARE(m_names.written(m_request), QStringList({m_names.meta, m_names.of(ExportTable::Samples)}));
    }

    void cancellingLeavesNothing()
    {
        m_store.addSample(1000, 1);
        const ExportOutcome outcome = run([](const QString &, int, int) { return false; });
        QVERIFY(outcome.isCancelled());
        QVERIFY(QDir(m_folder->path()).isEmpty());
    }

private:
    ExportOutcome run(const ExportProgress &progress = nullptr)
    {
        m_request.from = m_store.firstTime();
        m_request.to = m_store.lastTime();
        return exportTidy(m_store, m_request, m_names, QDateTime(QDate(2024, 2, 6), QTime(1, 2)), progress);
    }

    std::unique_ptr<QTemporaryDir> m_folder;
    TidyNames m_names;
    FakeStore m_store;
    ExportRequest m_request;
};

QTEST_APPLESS_MAIN(tst_tidyexport)

#include "tst_tidyexport.moc"
