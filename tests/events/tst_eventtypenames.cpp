#include "data/eventtypelist.h"
#include "events/eventtypenames.h"

#include <QFile>
#include <QTemporaryDir>
#include <QtTest>

namespace {

eventType named(const char *name)
{
    eventType type;
    type.name = QString::fromUtf8(name);
    return type;
}

} // namespace

class tst_EventTypeNames : public QObject
{
    Q_OBJECT

private slots:
    void init() { m_folder.reset(new QTemporaryDir); }
    void builtInAndUserTypes();
    void defaultNameCountsUserTypes();
    void coloursAreCycled();
    void coloursStayWithTheirType();
    void keptInAFile();
    void readsFiles_data();
    void readsFiles();
    void aFileThatCannotBeReadIsNotOverwritten();
    void aFailureToWriteKeepsTheType();

private:
    QString path() const { return m_folder->filePath(QStringLiteral("sub/eventtypes.txt")); }
    void write(const QByteArray &bytes) const
    {
        QDir().mkpath(m_folder->filePath(QStringLiteral("sub")));
        QFile file(path());
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(bytes);
    }

    QScopedPointer<QTemporaryDir> m_folder;
};

void tst_EventTypeNames::builtInAndUserTypes()
{
    eventTypeNames dictionary;
    QSignalSpy updated(&dictionary, &eventTypeNames::dictionaryUpdated);
    QCOMPARE(dictionary.names(), eventtype::names());
    QVERIFY(dictionary.add(named("b")));
    QVERIFY(dictionary.add(named("a")));
    QVERIFY(dictionary.add(named("b")));
    QCOMPARE(dictionary.names().mid(13).join(QLatin1Char(' ')), QStringLiteral("b a b"));
    QVERIFY(dictionary.remove(0));
    QVERIFY(dictionary.remove(7));
    QVERIFY(dictionary.remove(-1));
    QCOMPARE(dictionary.names().mid(13).join(QLatin1Char(' ')), QStringLiteral("a b"));
    QCOMPARE(updated.count(), 4);
    QCOMPARE(dictionary.types().size(), 15);
    QVERIFY(dictionary.types().at(0) == eventType::builtIn(QStringLiteral("E11")));
}

void tst_EventTypeNames::defaultNameCountsUserTypes()
{
    eventTypeNames dictionary;
    QCOMPARE(dictionary.defaultName(), QStringLiteral("event L1"));
    dictionary.add(named("a"));
    dictionary.add(named("b"));
    QCOMPARE(dictionary.defaultName(), QStringLiteral("event L3"));
}

void tst_EventTypeNames::coloursAreCycled()
{
    eventTypeNames dictionary;
    dictionary.add(named("fourteenth"));
    dictionary.add(named("fifteenth"));
    dictionary.add(named("own"), QStringLiteral("#aAbb09"));
    dictionary.add(named("wrong"), QStringLiteral("#12345g"));
    QCOMPARE(dictionary.colour(QStringLiteral("E11")), QStringLiteral("#048ACB"));
    QCOMPARE(dictionary.lightColour(QStringLiteral("E11")), QStringLiteral("#039BE5"));
    QCOMPARE(dictionary.colour(QStringLiteral("E_ON")), QStringLiteral("#4E342E"));
    QCOMPARE(dictionary.colour(QStringLiteral("fourteenth")), QStringLiteral("#B06556"));
    QCOMPARE(dictionary.lightColour(QStringLiteral("fourteenth")), QStringLiteral("#C8715F"));
    QCOMPARE(dictionary.colour(QStringLiteral("fifteenth")), QStringLiteral("#048ACB"));
    QCOMPARE(dictionary.colour(QStringLiteral("own")), QStringLiteral("#aAbb09"));
    QCOMPARE(dictionary.lightColour(QStringLiteral("own")), QStringLiteral("#aAbb09"));
    dictionary.add(named("picked"), QStringLiteral("#c62828"));
    QCOMPARE(dictionary.lightColour(QStringLiteral("picked")), QStringLiteral("#E53935")); // whatever the case
    QCOMPARE(dictionary.colour(QStringLiteral("wrong")), QStringLiteral("#2E7D32"));
    QCOMPARE(dictionary.colour(QStringLiteral("unknown")), QStringLiteral("#048ACB"));
}

void tst_EventTypeNames::coloursStayWithTheirType()
{
    eventTypeNames dictionary(path());
    dictionary.add(named("a"));
    dictionary.add(named("b"));
    const QString colour = dictionary.colour(QStringLiteral("b"));
    dictionary.remove(0);
    QCOMPARE(dictionary.colour(QStringLiteral("b")), colour);
    eventTypeNames again(path());
    QVERIFY(again.load());
    QCOMPARE(again.colour(QStringLiteral("b")), colour);
}

void tst_EventTypeNames::keptInAFile()
{
    eventTypeNames dictionary(path());
    QVERIFY(dictionary.load());
    eventType arc = named("Bögen; heavy");
    arc.magnitude = 12.5;
    arc.duration = 30;
    arc.direction = eventType::Inferior;
    QVERIFY(dictionary.add(arc));
    QFile file(path());
    QVERIFY(file.open(QIODevice::ReadOnly));
    QCOMPARE(file.readAll(), QByteArray("name;Bögen; heavy\nmagnitude;12.5\nduration;30\ndirection;1\nendEvent;\n"
                                        "color;#B06556\n"));
    eventTypeNames again(path());
    QVERIFY(again.load());
    QVERIFY(again.userType(0) == arc);
}

void tst_EventTypeNames::readsFiles_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<QString>("types"); // name=colour
    QTest::newRow("no colours") << QByteArray("name;a\nendEvent;\nname;b\nendEvent;\n") << "a=#B06556 b=#048ACB";
    QTest::newRow("windows line ends") << QByteArray("name;a\r\nendEvent;\r\ncolor;#123456\r\n") << "a=#123456";
    QTest::newRow("cut") << QByteArray("name;a\nendEvent;\ncolor;#123456\nname;b\nmagn") << "a=#123456";
    QTest::newRow("a colour that belongs to nothing")
        << QByteArray("color;#123456\nname;a\ncolor;#654321\nendEvent;\n") << "a=#B06556";
    QTest::newRow("an invalid colour") << QByteArray("name;a\nendEvent;\ncolor;red\n") << "a=#B06556";
    QTest::newRow("not text") << QByteArray("\0\xff\xfe;\n\n", 6) << "";
    QTest::newRow("empty") << QByteArray() << "";
}

void tst_EventTypeNames::readsFiles()
{
    QFETCH(QByteArray, content);
    write(content);
    eventTypeNames dictionary(path());
    QVERIFY(dictionary.load());
    QStringList types;
    for (const QString &name : dictionary.names().mid(eventtype::builtInCount))
        types.append(name + QLatin1Char('=') + dictionary.colour(name));
    QTEST(types.join(QLatin1Char(' ')), "types");
}

void tst_EventTypeNames::aFileThatCannotBeReadIsNotOverwritten()
{
    const QByteArray content((1 << 20) + 1, 'x');
    write(content);
    eventTypeNames dictionary(path());
    QString error;
    QVERIFY(!dictionary.load(&error));
    QVERIFY(!error.isEmpty());
    error.clear();
    QVERIFY(!dictionary.add(named("a"), QString(), &error));
    QVERIFY(!error.isEmpty());
    QCOMPARE(dictionary.userTypeCount(), 1);
    QCOMPARE(QFile(path()).size(), qint64(content.size()));
}

void tst_EventTypeNames::aFailureToWriteKeepsTheType()
{
    write(QByteArray());
    eventTypeNames dictionary(path() + QStringLiteral("/below/a/file.txt"));
    QString error;
    QVERIFY(!dictionary.add(named("a"), QString(), &error));
    QVERIFY(!error.isEmpty());
    QCOMPARE(dictionary.userType(0).name, QStringLiteral("a"));
}

QTEST_GUILESS_MAIN(tst_EventTypeNames)
#include "tst_eventtypenames.moc"
