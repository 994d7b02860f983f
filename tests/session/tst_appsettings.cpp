#include "session/appsettings.h"

#include <QDir>
#include <QTemporaryDir>
#include <QtTest>

class TestAppSettings : public QObject
{
    Q_OBJECT

private slots:
    void recentSessionsSurviveInOrder();
    void aShorterListLeavesNoTail();
    void theNewestComesFirstAndOnce();
    void theListIsTrimmed();
    void forgottenSettingsLeaveNothing();
    void recipesAreKeptByUse();
};

static QString made(const QTemporaryDir &dir, const QString &name)
{
    QDir(dir.path()).mkpath(name);
    return dir.filePath(name);
}

void TestAppSettings::recentSessionsSurviveInOrder()
{
    const QTemporaryDir dir;
    const QStringList folders{made(dir, QStringLiteral("b")), made(dir, QStringLiteral("a"))};
    {
        AppSettings settings(dir.filePath(QStringLiteral("s.ini")));
        settings.setRecentSessions(folders + QStringList{dir.filePath(QStringLiteral("gone"))});
        settings.setCurrentSessionPath(folders.first());
    }
    const AppSettings settings(dir.filePath(QStringLiteral("s.ini")));
    QCOMPARE(settings.recentSessions(), folders);
    QCOMPARE(settings.currentSessionPath(), folders.first());
}

void TestAppSettings::aShorterListLeavesNoTail()
{
    const QTemporaryDir dir;
    AppSettings settings(dir.filePath(QStringLiteral("s.ini")));
    const QString a = made(dir, QStringLiteral("a"));
    settings.setRecentSessions({a, made(dir, QStringLiteral("b")), made(dir, QStringLiteral("c"))});
    settings.setRecentSessions({a});
    QCOMPARE(settings.recentSessions(), QStringList{a});
}

void TestAppSettings::theNewestComesFirstAndOnce()
{
    const QTemporaryDir dir;
    const QString a = made(dir, QStringLiteral("a"));
    const QString b = made(dir, QStringLiteral("b"));
    const QString otherWayToA = dir.filePath(QStringLiteral("b/../a"));
    QCOMPARE(AppSettings::withRecentSession({b, a}, otherWayToA), (QStringList{otherWayToA, b}));
}

void TestAppSettings::theListIsTrimmed()
{
    QStringList many;
    for (int i = 0; i < 50; ++i)
        many.append(QStringLiteral("/nowhere/%1").arg(i));
    const QStringList kept = AppSettings::withRecentSession(many, QStringLiteral("/new"));
    QCOMPARE(kept.size(), AppSettings::recentSessionsKept);
    QCOMPARE(kept.last(), QStringLiteral("/nowhere/18"));
}

void TestAppSettings::forgottenSettingsLeaveNothing()
{
    {
        AppSettings settings(AppSettings::Source::Forgotten);
        settings.setCurrentSessionPath(QStringLiteral("/x"));
        QCOMPARE(settings.currentSessionPath(), QStringLiteral("/x"));
    }
    const AppSettings settings(AppSettings::Source::Forgotten);
    QVERIFY(settings.currentSessionPath().isEmpty());
}

void TestAppSettings::recipesAreKeptByUse()
{
    AppSettings settings(AppSettings::Source::Forgotten);
    for (int i = 0; i < 10; ++i)
        settings.addRecentRecipe(QStringLiteral("r%1").arg(i));
    settings.addRecentRecipe(QStringLiteral("r5"));
    const QStringList recent = settings.recentRecipes();
    QCOMPARE(recent.size(), AppSettings::recentRecipesKept);
    QCOMPARE(recent.mid(0, 3), (QStringList{QStringLiteral("r5"), QStringLiteral("r9"), QStringLiteral("r8")}));
    QCOMPARE(recent.count(QStringLiteral("r5")), 1);
}

QTEST_GUILESS_MAIN(TestAppSettings)
#include "tst_appsettings.moc"
