#include "layerrules.h"

#include <QtTest>

namespace {

QStringList coreFiles()
{
    QFile list(QStringLiteral(NORVEX_CORE_FILES));
    if (!list.open(QIODevice::ReadOnly))
        return {};
    const QDir root(QStringLiteral(NORVEX_SOURCES));
    QStringList files;
    for (const QString &path : QString::fromUtf8(list.readAll()).split(QLatin1Char('\n'), Qt::SkipEmptyParts))
        files.append(root.relativeFilePath(path));
    return files;
}

/// A tree of sources that lives as long as this object: "file: line; line", one file an argument.
class PlantedTree
{
public:
    explicit PlantedTree(const QStringList &files)
    {
        for (const QString &file : files) {
            const QString path = m_folder.filePath(file.section(QLatin1Char(':'), 0, 0));
            QDir().mkpath(QFileInfo(path).absolutePath());
            QFile out(path);
            out.open(QIODevice::WriteOnly);
            const QString text = file.section(QLatin1Char(':'), 1).trimmed();
            out.write(QString(text).replace(QStringLiteral("; "), QStringLiteral("\n")).toUtf8());
        }
    }

    SourceTree tree() const { return SourceTree(m_folder.path()); }

private:
    QTemporaryDir m_folder;
};

} // namespace

/// The floors of the house: base < recipe < data < sensor, events, simulator < session, export < display, cli < app.
class tst_layers : public QObject
{
    Q_OBJECT

private slots:
    void theTreeKeepsTheRules()
    {
        const SourceTree tree{QStringLiteral(NORVEX_SOURCES)};
        const QStringList core = coreFiles();
        const QSet<QString> gui = toolkitGuiHeaders();
        QVERIFY(tree.fileCount() > 20);
        QVERIFY(core.contains(QStringLiteral("base/safefile.cpp")));
        QVERIFY(gui.contains(QStringLiteral("QWidget")));
        const QStringList breaches = tree.floorBreaches() + tree.circles() + tree.platformBreaches() +
                                     tree.widgetBreaches(core, gui) + tree.parserBreaches() + tree.forgottenFiles();
        QVERIFY2(breaches.isEmpty(), qPrintable(QLatin1Char('\n') + breaches.join(QLatin1Char('\n'))));
    }

    void breachesAreSeen_data()
    {
        QTest::addColumn<QStringList>("files");
        QTest::addColumn<QString>("breach");
        const auto row = [](const char *name, const QStringList &files, const char *breach) {
            QTest::newRow(name) << files << QString::fromLatin1(breach);
        };
        const QString store = QStringLiteral("data/store.h:");
        row("downward", {store, QStringLiteral("sensor/link.h: #include \"data/store.h\"")}, "");
        row("own folder", {store, QStringLiteral("data/store.cpp: #include \"data/store.h\"; #include \"store.moc\"")},
            "");
        row("upward", {QStringLiteral("data/store.h: #include \"sensor/link.h\""), QStringLiteral("sensor/link.h:")},
            "data/store.h includes sensor/link.h, which is not on a lower floor");
        row("sideways",
            {QStringLiteral("events/filter.h: #  include \"sensor/link.h\""), QStringLiteral("sensor/link.h:")},
            "events/filter.h includes sensor/link.h, which is not on a lower floor");
        row("an earlier room",
            {QStringLiteral("display/plot/axis.h: #include \"display/look/theme.h\""),
             QStringLiteral("display/look/theme.h:")},
            "");
        row("a later room",
            {QStringLiteral("display/look/theme.h: #include \"display/plot/axis.h\""),
             QStringLiteral("display/plot/axis.h:")},
            "display/look/theme.h includes display/plot/axis.h, which is in a later room");
        row("without a folder", {store, QStringLiteral("data/store.cpp: #include \"store.h\"")},
            "data/store.cpp includes store.h, which is not a file of the tree");
        row("a folder without a floor", {QStringLiteral("misc/helper.h:")},
            "misc/helper.h stands in a folder without a floor");
        row("a circle of three",
            {QStringLiteral("data/a.h: #include \"data/b.h\""), QStringLiteral("data/b.h: #include \"data/c.h\""),
             QStringLiteral("data/c.h: #include \"data/a.h\"")},
            "data/a.h -> data/b.h -> data/c.h -> data/a.h");
        row("a platform condition", {QStringLiteral("data/store.cpp: #if defined(Q_OS_WIN) && 1")},
            "data/store.cpp: #if defined(Q_OS_WIN) && 1");
        row("a platform condition over two lines", {QStringLiteral("data/store.cpp: #if 1 || \\; defined(__linux__)")},
            "data/store.cpp: #if 1 ||  defined(__linux__)");
        row("a header of one system", {QStringLiteral("data/store.cpp: #include <unistd.h>")},
            "data/store.cpp includes <unistd.h>");
        row("the platform file may", {QStringLiteral("base/platform.cpp: #ifdef Q_OS_WIN; #include <windows.h>")}, "");
        row("a condition on nothing else", {QStringLiteral("data/store.cpp: #ifdef NORVEX_TRACE")}, "");
        row("a window class", {QStringLiteral("data/core.cpp: #include <QMessageBox>")},
            "data/core.cpp includes <QMessageBox>");
        row("a plot class", {QStringLiteral("data/core.cpp: #include <qwt_plot.h>")},
            "data/core.cpp includes <qwt_plot.h>");
        row("a window module through a header",
            {QStringLiteral("data/core.cpp: #include \"data/view.h\""),
             QStringLiteral("data/view.h: #include <QtWidgets/QLabel>")},
            "data/core.cpp includes <QtWidgets/QLabel> through data/view.h");
        row("what is not of windows", {QStringLiteral("data/core.cpp: #include <QObject>; #include <QTimer>")}, "");
        row("the toolkit's parser", {QStringLiteral("data/core.cpp: auto d = QJsonDocument::fromJson(bytes)")},
            "data/core.cpp calls QJsonDocument::fromJson instead of parseJson");
        row("named in the build file",
            {QStringLiteral("data/core.cpp:"), QStringLiteral("data/CMakeLists.txt: sources(core.cpp score.cpp)")}, "");
        row("forgotten in the build file",
            {QStringLiteral("data/core.cpp:"), QStringLiteral("data/CMakeLists.txt: sources(score.cpp)")},
            "data/core.cpp");
    }

    void breachesAreSeen()
    {
        QFETCH(QStringList, files);
        QFETCH(QString, breach);
        const PlantedTree planted(files);
        const SourceTree tree = planted.tree();
        const QStringList breaches = tree.floorBreaches() + tree.circles() + tree.platformBreaches() +
                                     tree.widgetBreaches({QStringLiteral("data/core.cpp")}, toolkitGuiHeaders()) +
                                     tree.parserBreaches() + tree.forgottenFiles();
        QCOMPARE(breaches.join(QLatin1Char('\n')), breach);
    }
};

QTEST_APPLESS_MAIN(tst_layers)
#include "tst_layers.moc"
