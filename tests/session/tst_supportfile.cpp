#include "base/safefile.h"
#include "session/supportfile.h"

#include <QDir>
#include <QSettings>
#include <QTemporaryDir>
#include <QtTest>

class tst_supportfile : public QObject
{
    Q_OBJECT

private slots:
    void saysEverythingButWhatWasMeasured()
    {
        QTemporaryDir temporary;
        const QString folder = temporary.filePath(QStringLiteral("session"));
        QVERIFY(QDir().mkpath(folder + QStringLiteral("/SN1-Etch")));
        write(folder + QStringLiteral("/index.norvex_session"), "Norvex session file ;V1.0.0\nsensor;SN1-Etch;SN1\n");
        write(folder + QStringLiteral("/SN1-Etch/index.dat"),
              "Arc detect data file ;V1.0.0\nblock;SN1-Etch;block_1.norvexdata;1;2\n"
              "Event;SN1-Etch;Event_1.norvexevent;1;E11;0;0;987.654\nEnd Events;\n");
        write(folder + QStringLiteral("/SN1-Etch/block_1.norvexdata"), "MEASURED");
        QByteArray log = "the beginning of the log\n";
        while (log.size() < 700 * 1024)
            log += "a line that fills the log\n";
        write(temporary.filePath(QStringLiteral("norvex.log")), log + "the last line\n");
        QSettings settings(temporary.filePath(QStringLiteral("settings.ini")), QSettings::IniFormat);
        settings.setValue(QStringLiteral("window/theme"), QStringLiteral("dark"));
        settings.setValue(QStringLiteral("window/geometry"), QByteArray(66, 'g'));

        SupportFacts facts;
        facts.program = QStringLiteral("norvex 1.2.3");
        facts.sessionFolder = folder;
        facts.logFile = temporary.filePath(QStringLiteral("norvex.log"));
        facts.settings = &settings;
        facts.problems = QStringList{QStringLiteral("Sensor SN1: did not answer")};
        const QByteArray text = supportText(facts);
        for (const char *expected :
             {"norvex 1.2.3", "Sensor SN1: did not answer", "window/theme: dark", "window/geometry: (66 bytes)",
              "sensor;SN1-Etch;SN1", "*.norvexdata: 1 files, 8 bytes", "block_1.norvexdata;1;2", "the last line"})
            QVERIFY2(text.contains(expected), expected);
        for (const char *secret : {"987.654", "MEASURED", "the beginning of the log"})
            QVERIFY2(!text.contains(secret), secret);
        QVERIFY(text.size() < 600 * 1024);
    }

    /// It is made when things are broken.
    void missingFilesAreTold()
    {
        SupportFacts facts;
        facts.sessionFolder = QStringLiteral("/nonexistent");
        facts.logFile = QStringLiteral("/nonexistent/norvex.log");
        QCOMPARE(supportText(facts).count("cannot be read: "), 2);
        QCOMPARE(supportFileName(1707140710123), QStringLiteral("norvex-support-20240205-134510.txt"));
    }

private:
    static void write(const QString &path, const QByteArray &bytes) { QVERIFY(writeFileSafely(path, bytes)); }
};

QTEST_APPLESS_MAIN(tst_supportfile)

#include "tst_supportfile.moc"
