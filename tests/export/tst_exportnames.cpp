#include "export/exportnames.h"

#include <QSet>
#include <QtTest>

class tst_ExportNames : public QObject
{
    Q_OBJECT

private slots:
    void derivedNames_data();
    void derivedNames();
    void defaultName();
    void refusal_data();
    void refusal();
};

void tst_ExportNames::derivedNames_data()
{
    QTest::addColumn<QString>("chosen");
    QTest::addColumn<QString>("names"); // V/I, RF-ON, events
    QTest::newRow("with .vi.csv") << "/s/run.vi.csv"
                                  << "/s/run.vi.csv /s/run.rfon.csv /s/run.events.csv";
    QTest::newRow("with .csv") << "run.csv"
                               << "run.csv run.rfon.csv run.events.csv";
    QTest::newRow("without") << "run"
                             << "run.csv run.rfon.csv run.events.csv";
    QTest::newRow("another extension") << "run.txt"
                                       << "run.txt.csv run.txt.rfon.csv run.txt.events.csv";
    QTest::newRow("upper case") << "RUN.CSV"
                                << "RUN.CSV RUN.rfon.csv RUN.events.csv";
    QTest::newRow("mixed case") << "RUN.Vi.Csv"
                                << "RUN.Vi.Csv RUN.rfon.csv RUN.events.csv";
    QTest::newRow("folders stay") << "/s/a.csv.d/b.vi.csv/run.csv"
                                  << "/s/a.csv.d/b.vi.csv/run.csv /s/a.csv.d/b.vi.csv/run.rfon.csv "
                                     "/s/a.csv.d/b.vi.csv/run.events.csv";
    QTest::newRow("folder without a .csv name") << "/s/a.csv/run"
                                                << "/s/a.csv/run.csv /s/a.csv/run.rfon.csv "
                                                   "/s/a.csv/run.events.csv";
    QTest::newRow("name of a derived file") << "a.rfon.csv"
                                            << "a.rfon.csv a.rfon.rfon.csv a.rfon.events.csv";
    QTest::newRow("name of the other derived file") << "a.events.csv"
                                                    << "a.events.csv a.events.rfon.csv a.events.events.csv";
}

void tst_ExportNames::derivedNames()
{
    QFETCH(QString, chosen);
    QFETCH(QString, names);
    const ExportNames derived = exportNames(chosen);
    QCOMPARE(QStringList({derived.viFile, derived.rfOnFile, derived.eventsFile}).join(QLatin1Char(' ')), names);
    const QSet<QString> different{derived.viFile.toLower(), derived.rfOnFile.toLower(), derived.eventsFile.toLower()};
    QCOMPARE(different.size(), 3);
}

void tst_ExportNames::defaultName()
{
    const QDateTime local(QDate(2024, 2, 5), QTime(7, 4, 59));
    QCOMPARE(defaultExportFile(QStringLiteral("/data/100%1 s"), local),
             QStringLiteral("/data/100%1 s/Exports/nor-2024_02_05_0704.vi.csv"));
}

void tst_ExportNames::refusal_data()
{
    QTest::addColumn<int>("count");
    QTest::addColumn<bool>("exportEvents");
    QTest::addColumn<QString>("start");
    QTest::newRow("none") << 0 << true << "";
    QTest::newRow("exactly the limit") << 475 << true << "";
    QTest::newRow("one more") << 476 << true
                              << "You are attempting to export 476 events, which will write more than 962 rows to the "
                                 "CSV result file.\n Excel and Openoffice have a limit of 1024 columns and won't open "
                                 "this file\n current export limit is 475 events per export.\n Please use the "
                                 "graphical selection tool, or toggle off certain events type to reduce the number of "
                                 "selected events.";
    QTest::newRow("without events") << 100000 << false << "";
}

void tst_ExportNames::refusal()
{
    QFETCH(int, count);
    QFETCH(bool, exportEvents);
    QTEST(exportRefusal(count, exportEvents), "start");
}

QTEST_GUILESS_MAIN(tst_ExportNames)
#include "tst_exportnames.moc"
