#include "data/integritycheck.h"
#include "storefixture.h"

#include <QtTest>

using Harm = std::function<bool(const SensorFolder &)>;
Q_DECLARE_METATYPE(Harm)

namespace {

/// "file state", one a finding.
QStringList shown(const IntegrityReport &report)
{
    QStringList lines;
    for (const FileFinding &finding : report.findings)
        lines.append(finding.file + QLatin1Char(' ') + nameOf(finding.state));
    return lines;
}

bool cut(const QString &path, qint64 size)
{
    return QFile::resize(path, size);
}

bool empty(const QString &path)
{
    return QFile::resize(path, 0);
}

} // namespace

class tst_integritycheck : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        m_folder = std::make_unique<SensorFolder>();
        const auto store = m_folder->newStore();
        QVector<SamplePoint> samples(10);
        for (int i = 0; i < samples.size(); ++i)
            samples[i].time = quint64(i + 1) * 1000;
        QVERIFY(store->addSamples(samples));
        EventRecord event;
        event.time = 5000;
        QVERIFY(store->addEvent(event));
        QVERIFY(store->save(m_folder->session()));
    }

    void aSoundFolder()
    {
        const IntegrityReport report = checkSensorFolder(m_folder->path());
        QVERIFY2(!report.isDamaged(), qPrintable((shown(report) + report.problems).join(QLatin1Char('\n'))));
        QCOMPARE(report.blocks, 1);
        QCOMPARE(report.events, 1);
        QCOMPARE(report.samples, quint64(10));
        QVERIFY(holdsSensorData(m_folder->path()));
        QVERIFY(!holdsSensorData(m_folder->session()));
    }

    void damage_data()
    {
        QTest::addColumn<Harm>("harm");
        QTest::addColumn<QStringList>("findings");
        QTest::addColumn<int>("problems");
        const QString block = QStringLiteral("block_1.norvexdata");
        const QString event = QStringLiteral("Event_1.norvexevent");
        const auto row = [](const char *name, const Harm &harm, const QStringList &findings, int problems = 0) {
            QTest::newRow(name) << harm << findings << problems;
        };
        row("block cut", [=](const SensorFolder &f) { return cut(f.file(block), 12 + 196 * 4 + 100); },
            {block + QStringLiteral(" short")});
        row("block cut in its header", [=](const SensorFolder &f) { return cut(f.file(block), 11); },
            {block + QStringLiteral(" unreadable")});
        row("block empty", [=](const SensorFolder &f) { return empty(f.file(block)); },
            {block + QStringLiteral(" unreadable")});
        row("block gone", [=](const SensorFolder &f) { return QFile::remove(f.file(block)); },
            {block + QStringLiteral(" missing")});
        row("block more",
            [=](const SensorFolder &f) {
                return QFile::copy(f.file(block), f.file(QStringLiteral("block_7.norvexdata")));
            },
            {QStringLiteral("block_7.norvexdata unlisted")});
        row("event cut", [=](const SensorFolder &f) { return cut(f.file(event), 100); },
            {event + QStringLiteral(" unreadable")});
        row("event gone", [=](const SensorFolder &f) { return QFile::remove(f.file(event)); },
            {event + QStringLiteral(" missing")});
        row("event more",
            [=](const SensorFolder &f) {
                return QFile::copy(f.file(event), f.file(QStringLiteral("Event_9.norvexevent")));
            },
            {QStringLiteral("Event_9.norvexevent unlisted")});
        row(
            "index gone", [](const SensorFolder &f) { return QFile::remove(f.index()); },
            {block + QStringLiteral(" unlisted"), event + QStringLiteral(" unlisted")}, 1);
        row(
            "index cut", [](const SensorFolder &f) { return cut(f.index(), QFileInfo(f.index()).size() - 12); }, {}, 1);
        row(
            "save interrupted", [](const SensorFolder &f) { return QFile::copy(f.index(), f.backup()); }, {}, 1);
        row(
            "folder gone", [](const SensorFolder &f) { return QDir(f.path()).removeRecursively(); }, {}, 1);
    }

    void damage()
    {
        QFETCH(Harm, harm);
        QVERIFY(harm(*m_folder));
        const QStringList before = m_folder->names();
        const IntegrityReport report = checkSensorFolder(m_folder->path());
        QVERIFY(report.isDamaged());
        QTEST(shown(report), "findings");
        QTEST(report.problems.size(), "problems");
        QCOMPARE(m_folder->names(), before);
    }

private:
    std::unique_ptr<SensorFolder> m_folder;
};

QTEST_GUILESS_MAIN(tst_integritycheck)
#include "tst_integritycheck.moc"
