#include "app/importdialog.h"
#include "app/sessioncare.h"
#include "data/norvexdata.h"
#include "session/session.h"
#include "support/fakeprompts.h"

#include <QDialogButtonBox>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QTimer>
#include <QtTest>

/// The boxes and steps of the long session commands; that they lose nothing is tested with their engines.
class TestSessionCare : public QObject
{
    Q_OBJECT

private slots:
    void init() { m_temporary = std::make_unique<QTemporaryDir>(); }
    void importAsksForNames();
    void importSeveral();
    void nothingToImport();
    void namesAreNeeded();
    void saveAs();
    void saveAsRefusesAFullFolder();
    void recover();
    void whatCannotBeRecovered();

private:
    QString folder(const QString &name) const { return m_temporary->filePath(name); }
    std::unique_ptr<Session> session(const QString &name, const QString &serial = QString()) const;
    template <class Dialog, class Action>
    static void answer(Action action);

    std::unique_ptr<QTemporaryDir> m_temporary;
    FakePrompts m_prompts;
};

/// A new session; with a sensor of twenty samples when a serial is given.
std::unique_ptr<Session> TestSessionCare::session(const QString &name, const QString &serial) const
{
    auto made = Session::create(folder(name), nullptr);
    if (!made)
        qFatal("no session");
    if (!serial.isEmpty()) {
        const auto store = made->addSensor(serial, QStringLiteral("Etch"), QString(), 80);
        QVector<SamplePoint> samples(20);
        for (int i = 0; i < samples.size(); ++i)
            samples[i].time = 1700000000000000ULL + quint64(i) * 1000;
        store->addSamples(samples);
    }
    if (!made->save())
        qFatal("not saved");
    return made;
}

template <class Dialog, class Action>
void TestSessionCare::answer(Action action)
{
    QTimer::singleShot(0, [action] {
        Dialog *dialog = nullptr;
        QTRY_VERIFY_WITH_TIMEOUT((dialog = qobject_cast<Dialog *>(QApplication::activeModalWidget())), 5000);
        action(*dialog);
    });
}

void TestSessionCare::importAsksForNames()
{
    const QString source = session(QStringLiteral("old"), QStringLiteral("SN1"))->path();
    const auto open = session(QStringLiteral("open"));
    m_prompts.paths = QStringList{source};
    answer<ImportDialog>([](ImportDialog &dialog) {
        QCOMPARE(dialog.findChild<QLineEdit *>(QStringLiteral("sensor"))->text(), QStringLiteral("SN1"));
        QCOMPARE(dialog.findChild<QLineEdit *>(QStringLiteral("chamber"))->text(), QStringLiteral("Etch"));
        dialog.findChild<QLineEdit *>(QStringLiteral("sensor"))->setText(QStringLiteral("SN9"));
        dialog.accept();
    });
    SessionCare(nullptr, m_prompts).import(*open, false);
    const QStringList shown = m_prompts.takeShown();
    QCOMPARE(shown.first(), QStringLiteral("folder|Select Import Folder|"));
    QCOMPARE(shown.size(), 2);
    QVERIFY2(shown.last().startsWith(QStringLiteral("inform|Import Data|")), qPrintable(shown.last()));
    QVERIFY(open->store(QStringLiteral("SN9")));
    QCOMPARE(open->store(QStringLiteral("SN9"))->sampleCount(), quint64(20));
}

/// Several folders at once, one of them of a sensor that the session has: one box in the end.
void TestSessionCare::importSeveral()
{
    const auto open = session(QStringLiteral("open"), QStringLiteral("SN1"));
    const auto other = session(QStringLiteral("other"), QStringLiteral("SN1"));
    QVERIFY(other->addSensor(QStringLiteral("SN2"), QStringLiteral("PM2"), QString(), 80)->addEvent(EventRecord()));
    QVERIFY(other->save());
    open->store(QStringLiteral("SN1"))->setChamberSerial(QStringLiteral("Mine"));
    m_prompts.paths = QStringList{other->path()};
    answer<ImportDialog>([](ImportDialog &dialog) { dialog.accept(); });
    SessionCare(nullptr, m_prompts).import(*open, false);
    QCOMPARE(m_prompts.takeShown().mid(1), QStringList{QStringLiteral("inform|Import Data|The import is complete.")});
    QCOMPARE(m_prompts.lastMore.informative,
             QStringLiteral("Sensor SN1: 0 samples and 0 events were added, 20 samples and 0 events were there "
                            "already.\nSensor SN2: 0 samples and 1 events were added."));
    QCOMPARE(open->store(QStringLiteral("SN1"))->chamberSerial(), QStringLiteral("Mine"));
}

void TestSessionCare::nothingToImport()
{
    const auto open = session(QStringLiteral("open"));
    QDir().mkpath(folder(QStringLiteral("empty")));
    m_prompts.paths = QStringList{folder(QStringLiteral("empty"))};
    SessionCare(nullptr, m_prompts).import(*open, true);
    QCOMPARE(m_prompts.takeShown().last(),
             QStringLiteral("warn|Warning|There is no sensor data in the folder: ") + folder(QStringLiteral("empty")));
    QVERIFY(open->sensors().isEmpty());
}

void TestSessionCare::namesAreNeeded()
{
    ImportDialog dialog({{QStringLiteral("/a"), QStringLiteral("SN1"), QString()},
                         {QStringLiteral("/b"), QStringLiteral("SN1"), QString()}},
                        {QStringLiteral("SN2")});
    auto *ok = dialog.findChild<QDialogButtonBox *>()->button(QDialogButtonBox::Ok);
    QVERIFY(!ok->isEnabled()); // two of one name
    dialog.findChild<QLineEdit *>(QStringLiteral("sensor1"))->setText(QStringLiteral("SN2"));
    QVERIFY(ok->isEnabled());
    QVERIFY(!dialog.findChild<QLineEdit *>(QStringLiteral("chamber1"))->isEnabled()); // SN2 is in a chamber already
    dialog.findChild<QLineEdit *>(QStringLiteral("sensor1"))->setText(QStringLiteral("  "));
    QVERIFY(!ok->isEnabled());
    QVERIFY(!dialog.findChild<QLabel *>(QStringLiteral("lb_reason"))->text().isEmpty());
}

void TestSessionCare::saveAs()
{
    const auto open = session(QStringLiteral("open"), QStringLiteral("SN1"));
    m_prompts.paths = QStringList{folder(QStringLiteral("copy"))};
    QVERIFY(SessionCare(nullptr, m_prompts).saveAs(*open));
    QCOMPARE(m_prompts.takeShown(), QStringList{QStringLiteral("folder|Save Session As|")});
    QCOMPARE(open->path(), folder(QStringLiteral("copy")));
    const auto copy = Session::loadReadOnly(folder(QStringLiteral("copy")), nullptr);
    QVERIFY(copy);
    QCOMPARE(copy->store(QStringLiteral("SN1"))->sampleCount(), quint64(20));
}

void TestSessionCare::saveAsRefusesAFullFolder()
{
    const auto open = session(QStringLiteral("open"), QStringLiteral("SN1"));
    const QString other = session(QStringLiteral("other"))->path();
    m_prompts.paths = QStringList{other};
    QVERIFY(!SessionCare(nullptr, m_prompts).saveAs(*open));
    QCOMPARE(m_prompts.takeShown().last(), QStringLiteral("warn|Warning|The session could not be saved as: ") + other);
    QVERIFY(m_prompts.lastMore.informative.contains(open->path()));
    QCOMPARE(open->path(), folder(QStringLiteral("open")));
}

void TestSessionCare::recover()
{
    const auto open = session(QStringLiteral("open"));
    const QString broken = session(QStringLiteral("broken"), QStringLiteral("SN1"))->path();
    QVERIFY(QFile::remove(broken + QStringLiteral("/index.norvex_session")));
    m_prompts.paths = QStringList{broken};
    QCOMPARE(SessionCare(nullptr, m_prompts).recover(open->path()), broken);
    QCOMPARE(m_prompts.takeShown().first(), QStringLiteral("folder|Select folder with the sensor data to recover|"));
    const auto again = Session::loadReadOnly(broken, nullptr);
    QVERIFY(again && again->store(QStringLiteral("SN1")));
    QCOMPARE(again->store(QStringLiteral("SN1"))->sampleCount(), quint64(20));
}

void TestSessionCare::whatCannotBeRecovered()
{
    const auto open = session(QStringLiteral("open"));
    QDir().mkpath(folder(QStringLiteral("empty")));
    m_prompts.paths = QStringList{folder(QStringLiteral("empty")), open->path()};
    QVERIFY(SessionCare(nullptr, m_prompts).recover(open->path()).isEmpty());
    QCOMPARE(m_prompts.takeShown().last(), QStringLiteral("warn|Failure|Failed to recover session"));
    QVERIFY(SessionCare(nullptr, m_prompts).recover(open->path()).isEmpty()); // it is open
    QCOMPARE(m_prompts.takeShown().size(), 2);
}

QTEST_MAIN(TestSessionCare)
#include "tst_sessioncare.moc"
