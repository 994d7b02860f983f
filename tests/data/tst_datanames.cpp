#include "data/datanames.h"

#include <QtTest>

class tst_DataNames : public QObject
{
    Q_OBJECT

private slots:
    void folders_data();
    void folders();
    void plainFileNames_data();
    void plainFileNames();
    void lineSafeText();
};

void tst_DataNames::folders_data()
{
    QTest::addColumn<QString>("serial");
    QTest::addColumn<QString>("chamber");
    QTest::addColumn<QString>("folder");
    const auto row = [](const char *name, const QString &serial, const QString &chamber, const QString &folder) {
        QTest::newRow(name) << serial << chamber << folder;
    };
    row("usual", QStringLiteral("A17"), QStringLiteral("Chamber 2"), QStringLiteral("A17-Chamber 2"));
    row("empty", QString(), QString(), QStringLiteral("-"));
    row("climbing out", QStringLiteral("../../etc"), QStringLiteral("x\\y:z"), QStringLiteral(".._.._etc-x_y_z"));
    row("control characters", QStringLiteral("a\nb"), QString(QChar(0)), QStringLiteral("a_b-_"));
    row("other alphabets", QStringLiteral("Küche"), QStringLiteral("A"), QStringLiteral("K_che-A"));
    row("device", QStringLiteral("CON.1"), QStringLiteral("A"), QStringLiteral("_CON.1-A"));
    row("device in lower case", QStringLiteral("lpt3.x"), QStringLiteral("A"), QStringLiteral("_lpt3.x-A"));
    row("not a device", QStringLiteral("CON"), QStringLiteral("A"), QStringLiteral("CON-A"));
    row("trailing dots", QStringLiteral("A"), QStringLiteral("B. ."), QStringLiteral("A-B___"));
    row("long", QString(150, QLatin1Char('x')), QStringLiteral("A"), QString(100, QLatin1Char('x')));
}

void tst_DataNames::folders()
{
    QFETCH(QString, serial);
    QFETCH(QString, chamber);
    QFETCH(QString, folder);
    QCOMPARE(datanames::sensorFolder(serial, chamber), folder);
    QVERIFY(datanames::isPlainFileName(folder));
}

void tst_DataNames::plainFileNames_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<bool>("plain");
    QTest::newRow("block") << QStringLiteral("block_0.norvexdata") << true;
    QTest::newRow("dots inside") << QStringLiteral("a..b") << true;
    QTest::newRow("empty") << QString() << false;
    QTest::newRow("here") << QStringLiteral(".") << false;
    QTest::newRow("above") << QStringLiteral("..") << false;
    QTest::newRow("slash") << QStringLiteral("../x") << false;
    QTest::newRow("backslash") << QStringLiteral("..\\x") << false;
    QTest::newRow("drive") << QStringLiteral("C:x") << false;
    QTest::newRow("NUL") << QString(QStringLiteral("a") + QChar(0)) << false;
}

void tst_DataNames::plainFileNames()
{
    QFETCH(QString, name);
    QFETCH(bool, plain);
    QCOMPARE(datanames::isPlainFileName(name), plain);
}

void tst_DataNames::lineSafeText()
{
    QCOMPARE(datanames::lineSafe(QStringLiteral("End Blocks;\r\nx") + QChar(0)), QStringLiteral("End Blocks___x_"));
    QCOMPARE(datanames::lineSafe(QStringLiteral("Küche 2")), QStringLiteral("Küche 2"));
}

QTEST_APPLESS_MAIN(tst_DataNames)
#include "tst_datanames.moc"
