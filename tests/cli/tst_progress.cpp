#include "cli/progress.h"

#include <QtTest>

namespace {

SensorProgress example()
{
    return {QStringLiteral("SN100"), QStringLiteral("downloading"), 12345, 6, 2, 499.6, 4900};
}

} // namespace

class tst_progress : public QObject
{
    Q_OBJECT

private slots:
    void aLineSaysEverything()
    {
        QCOMPARE(progressLine(example(), 0),
                 QStringLiteral("SN100  downloading  12345 samples  6 events  2 runs  500/s  saved 4 s ago"));
        SensorProgress unsaved = example();
        unsaved.saveAgeMs = -1;
        QVERIFY(progressLine(unsaved, 0).endsWith(QStringLiteral("not saved yet")));
    }

    void aLineNeverWraps()
    {
        const int whole = progressLine(example(), 0).size();
        for (int width = 4; width <= whole + 1; ++width) {
            const QString line = progressLine(example(), width);
            QCOMPARE(line.size(), qMin(width, whole));
            QCOMPARE(line.endsWith(QStringLiteral("...")), width < whole);
        }
    }

    void theRateForgetsWhatIsLongAgo()
    {
        RateMeter rate;
        QCOMPARE(rate.perSecond(), 0.0);
        rate.add(0, 1000);
        QCOMPARE(rate.perSecond(), 0.0);
        rate.add(1000, 1500);
        QCOMPARE(rate.perSecond(), 500.0);
        for (int second = 2; second <= 20; ++second)
            rate.add(second * 1000, 1500);
        QCOMPARE(rate.perSecond(), 0.0);
    }

    void theRateIsNeverNegative()
    {
        RateMeter rate;
        rate.add(0, 1000);
        rate.add(1000, 10);
        QCOMPARE(rate.perSecond(), 0.0);
    }

    void aTerminalIsRedrawnInPlace()
    {
        QString text;
        QTextStream stream(&text);
        ProgressPrinter printer(stream, true);
        printer.show({QStringLiteral("a"), QStringLiteral("b")});
        printer.show({QStringLiteral("c")});
        printer.say(QStringLiteral("news"));
        QCOMPARE(text, QStringLiteral("a\nb\n\x1b[2A\x1b[Jc\n\x1b[1A\x1b[Jnews\nc\n"));
    }

    void elsewhereLinesArePlain()
    {
        QString text;
        QTextStream stream(&text);
        ProgressPrinter printer(stream, false);
        printer.show({QStringLiteral("a")});
        printer.show({});
        printer.say(QStringLiteral("news"));
        QCOMPARE(text, QStringLiteral("a\nnews\n"));
    }
};

QTEST_GUILESS_MAIN(tst_progress)
#include "tst_progress.moc"
