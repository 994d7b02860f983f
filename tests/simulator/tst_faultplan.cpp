#include "simulator/faultplan.h"

#include <QTest>

Q_DECLARE_METATYPE(PageKind)

namespace {

/// Asks for one page `count` times and writes down the fault of each: "-" none, its name otherwise.
QString story(FaultPlan plan, int count, PageKind page = PageKind::Data, bool isPost = false, qint64 msEach = 0)
{
    QStringList faults;
    for (int i = 0; i < count; ++i) {
        const Fault fault = plan.next(page, isPost, i * msEach);
        faults.append(fault.type ? QLatin1String(fault.type->name) : QStringLiteral("-"));
    }
    return faults.join(QLatin1Char(' '));
}

FaultPlan plan(const char *text)
{
    FaultPlan result;
    QString error;
    if (!result.parse(text, 1, &error))
        qFatal("%s", qPrintable(error));
    return result;
}

} // namespace

class tst_FaultPlan : public QObject
{
    Q_OBJECT

private slots:
    void faultsComeWhenTheyShould_data()
    {
        QTest::addColumn<QByteArray>("text");
        QTest::addColumn<PageKind>("page");
        QTest::addColumn<QString>("expected");
        const auto row = [](const char *text, PageKind page, const char *expected) {
            QTest::newRow(text) << QByteArray(text) << page << QString(QLatin1String(expected));
        };
        row("", PageKind::Data, "- - - - -");
        row("data@3=reset", PageKind::Data, "- - reset - -");
        row("data@3=reset", PageKind::Events, "- - - - -");
        row("all@2-3=garble", PageKind::Status, "- garble garble - -");
        row("info@4+=hang", PageKind::Info, "- - - hang hang");
        row("events@/2=nan", PageKind::Events, "- nan - nan -");
        row("clear@*=close", PageKind::Clear, "close close close close close");
        row("frame@2=close", PageKind::Clear, "- close - - -");
        row("clear@*=close", PageKind::Frame, "- - - - -");
        row("data@2=reset; data@2-3=close ;", PageKind::Data, "- reset close - -");
        row("status@100%=500", PageKind::Status, "NNN NNN NNN NNN NNN");
        row("status@0%=500", PageKind::Status, "- - - - -");
        row("data@1s-3s=cut", PageKind::Data, "- cut cut - -");
        row("data@1500ms-2.5s=cut", PageKind::Data, "- - cut - -");
        row("post@*=reset", PageKind::Recipe, "- - - - -");
    }

    void faultsComeWhenTheyShould()
    {
        QFETCH(QByteArray, text);
        QFETCH(PageKind, page);
        QTEST(story(plan(text), 5, page, false, 1000), "expected");
    }

    void uploadsHaveTheirOwnName()
    {
        QCOMPARE(story(plan("post@2=reset"), 3, PageKind::Recipe, true), QStringLiteral("- reset -"));
        QCOMPARE(story(plan("recipe@2=reset"), 3, PageKind::Recipe, true), QStringLiteral("- reset -"));
    }

    void chancesFollowTheSeed()
    {
        const QString first = story(plan("all@30%=reset"), 200);
        QCOMPARE(story(plan("all@30%=reset"), 200), first);
        const int hits = first.count(QStringLiteral("reset"));
        QVERIFY2(hits > 35 && hits < 85, qPrintable(QString::number(hits)));
    }

    void argumentsArrive()
    {
        FaultPlan p = plan("all@1=delay:250;all@2=missing-column:E_PE;all@3=503;all@4=delay");
        QCOMPARE(p.next(PageKind::Data, false, 0).argument.number, qint64(250));
        QCOMPARE(p.next(PageKind::Data, false, 0).argument.text, QByteArray("E_PE"));
        QCOMPARE(p.next(PageKind::Data, false, 0).argument.number, qint64(503));
        QCOMPARE(p.next(PageKind::Data, false, 0).argument.number, qint64(1500));
    }

    void actionsComeOnceAndInOrder()
    {
        using Kind = PlannedAction::Kind;
        FaultPlan p = plan("off@10s=2s;reboot@3s;serial@11s=SN2;reboot@20s=kept");
        QVERIFY(p.takeDue(2999).isEmpty());
        QVector<Kind> kinds;
        for (qint64 ms : {3000, 3000, 11999, 60000}) {
            for (const PlannedAction &action : p.takeDue(ms))
                kinds.append(action.kind);
        }
        QCOMPARE(kinds, (QVector<Kind>{Kind::PowerOff, Kind::RebootLosing, Kind::PowerOn, Kind::PowerOff, Kind::Serial,
                                       Kind::PowerOn, Kind::PowerOff, Kind::RebootKeeping, Kind::PowerOn}));
    }

    void nonsenseIsNamedAndChangesNothing_data()
    {
        QTest::addColumn<QString>("mentions");
        QTest::newRow("data") << QStringLiteral("'data'");
        QTest::newRow("data@=reset") << QStringLiteral("''");
        QTest::newRow("data@0=reset") << QStringLiteral("'0'");
        QTest::newRow("data@5-3=reset") << QStringLiteral("'5-3'");
        QTest::newRow("data@3s-1s=reset") << QStringLiteral("'3s-1s'");
        QTest::newRow("data@101%=reset") << QStringLiteral("'101%'");
        QTest::newRow("dada@1=reset") << QStringLiteral("'dada'");
        QTest::newRow("data@1") << QStringLiteral("''");
        QTest::newRow("data@1=rest") << QStringLiteral("'rest'");
        QTest::newRow("data@1=NNN") << QStringLiteral("'NNN'");
        QTest::newRow("data@1=reset:5") << QStringLiteral("'reset'");
        QTest::newRow("data@1=delay:soon") << QStringLiteral("'soon'");
        QTest::newRow("data@1=delay:-1") << QStringLiteral("'-1'");
        QTest::newRow("data@1=200") << QStringLiteral("200");
        QTest::newRow("reboot@30") << QStringLiteral("reboot");
        QTest::newRow("reboot@30s=maybe") << QStringLiteral("reboot");
        QTest::newRow("off@3s") << QStringLiteral("off");
        QTest::newRow("serial@3s=") << QStringLiteral("serial");
    }

    void nonsenseIsNamedAndChangesNothing()
    {
        QFETCH(QString, mentions);
        FaultPlan p = plan("data@1=close");
        QString error;
        QVERIFY(!p.parse(QByteArray("data@1=hang;") + QTest::currentDataTag(), 1, &error));
        QVERIFY2(error.contains(mentions), qPrintable(error));
        QCOMPARE(story(p, 1), QStringLiteral("close"));
    }

    void helpNamesEveryFaultOnce()
    {
        const QStringList lines = faultHelp().split(QLatin1Char('\n'), Qt::SkipEmptyParts);
        QVERIFY(lines.size() > 40);
        QStringList names;
        for (const QString &line : lines) {
            const QString name = line.trimmed().section(QLatin1Char(' '), 0, 0).section(QLatin1Char('['), 0, 0);
            QString error;
            QVERIFY2(name == QLatin1String("NNN") || parseFault(name.toLatin1(), &error).type, qPrintable(error));
            QVERIFY(!names.contains(name));
            names.append(name);
        }
    }
};

QTEST_GUILESS_MAIN(tst_FaultPlan)
#include "tst_faultplan.moc"
