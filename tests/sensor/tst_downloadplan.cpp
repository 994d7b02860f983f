#include "sensor/downloadplan.h"

#include <QSet>
#include <QtTest>

namespace {

/// Plays a conversation against a plan and writes down what it asks. Words:
///   frame P E     a frame with P samples and E events
///   page N T      N samples stored, the first at time T;  bad: a page that brought nothing
///   event T       an event record of time T
///   durable, not-durable, drop, give-up, lost, connect, store, no-store
/// After each the next request is asked for; "wait" asks once more without anything having happened.
class Conversation
{
public:
    explicit Conversation(bool hasStore = true)
    {
        m_plan.setHasStore(hasStore);
        m_plan.connected();
        m_state = m_plan.state();
    }

    QString play(const QString &script)
    {
        m_asked.clear();
        for (const QString &part : script.split(QStringLiteral(", "))) {
            hear(part.split(QLatin1Char(' ')));
            ask();
        }
        return m_asked.join(QStringLiteral(", "));
    }

    DownloadPlan &plan() { return m_plan; }

private:
    void hear(const QStringList &words)
    {
        const QString &word = words.first();
        const auto number = [&words](int i) { return words.value(i).toInt(); };
        if (word == QLatin1String("frame"))
            m_plan.frameArrived(number(1), number(2));
        else if (word == QLatin1String("page"))
            m_plan.pageStored(number(1), quint64(number(2)));
        else if (word == QLatin1String("bad"))
            m_plan.nothingTaken();
        else if (word == QLatin1String("event"))
            m_plan.eventTaken(quint64(number(1)), quint64(number(1)));
        else if (word == QLatin1String("durable"))
            m_plan.durable(true);
        else if (word == QLatin1String("not-durable"))
            m_plan.durable(false);
        else if (word == QLatin1String("not-durable-full"))
            m_plan.durable(false, DownloadPlan::Refusal::Wait);
        else if (word == QLatin1String("drop"))
            m_plan.dropFrame();
        else if (word == QLatin1String("give-up"))
            m_plan.giveUpFrame();
        else if (word == QLatin1String("lost"))
            m_plan.disconnected();
        else if (word == QLatin1String("connect"))
            m_plan.connected();
        else if (word == QLatin1String("store"))
            m_plan.setHasStore(true);
        else if (word == QLatin1String("no-store"))
            m_plan.setHasStore(false);
        else if (word != QLatin1String("wait"))
            qFatal("not a word: %s", qPrintable(word));
    }

    void ask()
    {
        const DownloadStep step = m_plan.next();
        if (m_plan.state() != m_state)
            m_asked += QStringLiteral("state %1").arg(m_state = m_plan.state());
        switch (step.ask) {
        case DownloadStep::Nothing:
            m_asked += QStringLiteral("-");
            break;
        case DownloadStep::Frame:
            m_asked += QStringLiteral("frame");
            break;
        case DownloadStep::FrameLater:
            m_asked += QStringLiteral("frame later");
            break;
        case DownloadStep::Event:
            m_asked += QStringLiteral("event %1").arg(step.index);
            break;
        case DownloadStep::Data:
            m_asked += QStringLiteral("data %1+%2").arg(step.index).arg(step.limit);
            break;
        case DownloadStep::MakeDurable:
            m_asked += QStringLiteral("sync");
            break;
        case DownloadStep::Clear:
            m_asked += QStringLiteral("clear %1").arg(step.index);
            break;
        }
    }

    DownloadPlan m_plan;
    int m_state = 0;
    QStringList m_asked;
};

} // namespace

class TestDownloadPlan : public QObject
{
    Q_OBJECT

private slots:
    void conversations_data();
    void conversations();
    void eventsInTens();
    void manyEventsMayMove_data();
    void manyEventsMayMove();
    void stuckAfterFive();
    void expectsTheCurrentIndexOnly();
    void givenUpSamples();
};

void TestDownloadPlan::conversations_data()
{
    QTest::addColumn<QString>("heard");
    QTest::addColumn<QString>("asked");
    const auto row = [](const char *name, const char *heard, const char *asked) {
        QTest::newRow(name) << QString::fromLatin1(heard) << QString::fromLatin1(asked);
    };
    row("45 samples", "wait, frame 45 0, page 20 1, page 20 2, page 5 3, durable, frame 0 0",
        "frame, state 2, data 0+20, data 20+20, data 40+5, state 1, sync, clear 44, frame");
    row("6 samples", "frame 6 0, frame 6 3", "frame, frame");
    row("7 samples", "frame 7 0, page 7 1, durable", "state 2, data 0+7, state 1, sync, clear 6");
    row("event before its samples", "frame 7 1, event 5, page 7 9, durable",
        "state 2, event 0, data 0+7, state 1, sync, clear 6");
    row("events later than every sample", "frame 7 2, event 100, event 100, page 7 1, durable",
        "state 2, event 0, event 1, data 0+7, state 1, sync, clear 6");
    row("a page that brings nothing is asked for again", "frame 25 0, bad, page 0 0, page 20 1, bad, page 5 2",
        "state 2, data 0+20, data 0+20, data 0+20, data 20+5, data 20+5, state 1, sync");
    row("fewer than asked", "frame 20 0, page 8 1, page 12 2", "state 2, data 0+20, data 8+12, state 1, sync");
    row("more than asked", "frame 20 0, page 25 1, durable", "state 2, data 0+20, state 1, sync, clear 19");
    row("cleared once", "frame 7 0, page 7 1, durable, wait, wait",
        "state 2, data 0+7, state 1, sync, clear 6, frame, frame");
    row("an old frame is not downloaded again", "frame 30 0, page 20 1, page 10 2, durable, durable, frame 7 0",
        "state 2, data 0+20, data 20+10, state 1, sync, clear 29, frame, state 2, data 0+7");
    row("nothing while the disk works", "frame 7 0, page 7 1, wait, frame 9 0, durable",
        "state 2, data 0+7, state 1, sync, -, -, clear 6");
    row("the disk failed", "frame 7 0, page 7 1, not-durable, wait, frame 7 0",
        "state 2, data 0+7, state 1, sync, frame later, frame, state 2, data 0+7");
    row("the disk failed and memory is full", "frame 7 0, page 7 1, not-durable-full, wait, frame 9 0, durable, wait",
        "state 2, data 0+7, state 1, sync, frame later, sync, -, clear 6, frame");
    row("a dropped frame is not cleared", "frame 30 0, page 20 1, drop, frame 40 0",
        "state 2, data 0+20, data 20+10, state 1, frame, state 2, data 0+20");
    row("dropped while the disk works", "frame 7 0, page 7 1, drop, durable",
        "state 2, data 0+7, state 1, sync, frame, frame");
    row("dropped before its clear", "frame 7 0, page 7 1, lost, durable",
        "state 2, data 0+7, state 1, sync, state 0, -, -");
    row("a new connection starts at 0", "frame 30 0, page 20 1, lost, connect, frame 30 0",
        "state 2, data 0+20, data 20+10, state 0, -, state 1, frame, state 2, data 0+20");
    row("a frame while downloading does not count", "frame 30 0, frame 50 0, page 20 1",
        "state 2, data 0+20, data 0+20, data 20+10");
    row("without a store", "no-store, frame 45 3, store, wait", "frame later, frame later, state 2, event 0, event 0");
    row("the store goes away", "frame 45 0, no-store", "state 2, data 0+20, state 1, frame later");
    row("given up in the middle", "frame 45 12, event 1, give-up, durable",
        "state 2, event 0, event 1, state 1, sync, clear 44");
    row("given up before it began", "frame 6 0, give-up, durable", "frame, sync, clear 5");
    row("an empty frame given up", "frame 0 5, give-up", "frame, frame");
    row("given up without a frame", "give-up", "frame");
    row("given up while the disk works", "frame 7 0, page 7 1, give-up, durable, wait",
        "state 2, data 0+7, state 1, sync, -, clear 6, frame");
}

void TestDownloadPlan::conversations()
{
    QFETCH(QString, heard);
    QFETCH(QString, asked);
    Conversation conversation;
    QCOMPARE(conversation.play(heard), asked);
}

// 25 events: ten, then samples until one lies past the tenth event, then the next ten, and so on; what is left follows
// the last sample.
void TestDownloadPlan::eventsInTens()
{
    Conversation talk;
    talk.play(QStringLiteral("frame 60 25"));
    for (int i = 0; i < 9; ++i)
        QCOMPARE(talk.play(QStringLiteral("event 100")), QStringLiteral("event %1").arg(i + 1));
    QCOMPARE(talk.play(QStringLiteral("event 100")), QStringLiteral("data 0+20"));
    QCOMPARE(talk.play(QStringLiteral("page 20 100")), QStringLiteral("data 20+20"));
    QCOMPARE(talk.play(QStringLiteral("page 20 101")), QStringLiteral("event 10"));
    for (int i = 10; i < 19; ++i)
        QCOMPARE(talk.play(QStringLiteral("event 900")), QStringLiteral("event %1").arg(i + 1));
    QCOMPARE(talk.play(QStringLiteral("event 900")), QStringLiteral("data 40+20"));
    QCOMPARE(talk.play(QStringLiteral("page 20 200")), QStringLiteral("event 20"));
    QCOMPARE(talk.plan().eventAllowance(), 25);
    for (int i = 20; i < 24; ++i)
        QCOMPARE(talk.play(QStringLiteral("event 900")), QStringLiteral("event %1").arg(i + 1));
    QCOMPARE(talk.play(QStringLiteral("event 900")), QStringLiteral("state 1, sync"));
    QCOMPARE(talk.play(QStringLiteral("durable")), QStringLiteral("clear 59"));
}

void TestDownloadPlan::manyEventsMayMove_data()
{
    QTest::addColumn<int>("repliesPerEvent");
    QTest::newRow("nothing new") << 1000000;
    QTest::newRow("now and then") << 37;
    QTest::newRow("in each group") << 5;
    QTest::newRow("as fast as they are read") << 1; // this ends as well
}

// The memory of a sensor is full, so each new event drives the oldest out while they are downloaded. What has not gone
// when the frame is cleared was read.
void TestDownloadPlan::manyEventsMayMove()
{
    QFETCH(int, repliesPerEvent);
    constexpr int capacity = 200;
    QVector<quint64> memory;
    for (int i = 0; i < capacity; ++i)
        memory.append(quint64(i + 1));
    DownloadPlan plan;
    plan.setHasStore(true);
    plan.connected();
    QSet<quint64> read;
    quint64 lastOfFrame = 0;
    int requests = 0;
    for (DownloadStep step = plan.next(); step.ask != DownloadStep::Clear; step = plan.next()) {
        QVERIFY(++requests < 10 * capacity);
        QVERIFY(!plan.isStuck());
        switch (step.ask) {
        case DownloadStep::Frame:
            plan.frameArrived(400, capacity);
            lastOfFrame = memory.last();
            break;
        case DownloadStep::Event:
            QVERIFY(plan.expectsEvent(step.index));
            read.insert(memory.at(int(step.index)));
            plan.eventTaken(memory.at(int(step.index)), memory.at(int(step.index)));
            break;
        case DownloadStep::Data:
            plan.pageStored(int(step.limit), step.index);
            break;
        default:
            QCOMPARE(int(step.ask), int(DownloadStep::MakeDurable));
            plan.durable(true);
        }
        if (requests % repliesPerEvent == 0) {
            memory.append(memory.last() + 1);
            memory.removeFirst();
        }
    }
    for (const quint64 event : qAsConst(memory))
        QVERIFY2(event > lastOfFrame || read.contains(event), qPrintable(QString::number(event)));
}

void TestDownloadPlan::stuckAfterFive()
{
    Conversation talk;
    talk.play(QStringLiteral("frame 45 0, bad, bad, page 0 0, bad"));
    QVERIFY(!talk.plan().isStuck());
    talk.play(QStringLiteral("page 20 1, bad, bad, bad, bad"));
    QVERIFY(!talk.plan().isStuck());
    talk.play(QStringLiteral("bad"));
    QVERIFY(talk.plan().isStuck());
    talk.play(QStringLiteral("lost, connect"));
    QVERIFY(!talk.plan().isStuck());
    // The frame promises much more than there is, which then comes as it is measured.
    talk.play(QStringLiteral("frame 2147483647 0, page 20 1, page 12 1, page 1 1, page 1 1, page 2 1"));
    QVERIFY(!talk.plan().isStuck());
    talk.play(QStringLiteral("page 1 1"));
    QVERIFY(talk.plan().isStuck());
    // A sensor that hands out small pages always, and the rest of a frame, are as they should be.
    talk.play(QStringLiteral("lost, connect, frame 45 0, page 7 1, page 7 1, page 7 1, page 7 1, page 7 1, page 7 1"));
    talk.play(QStringLiteral("page 3 1"));
    QVERIFY(!talk.plan().isStuck());
}

void TestDownloadPlan::expectsTheCurrentIndexOnly()
{
    Conversation talk;
    talk.play(QStringLiteral("wait"));
    QVERIFY(!talk.plan().expectsData(0));
    talk.play(QStringLiteral("frame 45 2"));
    QVERIFY(talk.plan().expectsEvent(0));
    QVERIFY(!talk.plan().expectsEvent(1));
    talk.play(QStringLiteral("event 1, event 1, page 20 9"));
    QVERIFY(talk.plan().expectsData(20));
    QVERIFY(!talk.plan().expectsData(0));
    talk.play(QStringLiteral("give-up"));
    QVERIFY(!talk.plan().expectsData(20));
}

void TestDownloadPlan::givenUpSamples()
{
    Conversation talk;
    talk.play(QStringLiteral("frame 45 0, page 20 1"));
    QCOMPARE(talk.plan().giveUpFrame(), 25);
    talk.play(QStringLiteral("wait, durable, frame 5 0"));
    QCOMPARE(talk.plan().giveUpFrame(), 5);
}

QTEST_APPLESS_MAIN(TestDownloadPlan)
#include "tst_downloadplan.moc"
