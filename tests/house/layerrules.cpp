#include "layerrules.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QLibraryInfo>
#include <QRegularExpression>

namespace {

const QString platformFile = QStringLiteral("base/platform.cpp");

/// -1 for a folder that is not part of the house.
int floorOf(const QString &file)
{
    static const QHash<QString, int> floors{
        {QStringLiteral("base"), 0},    {QStringLiteral("recipe"), 1}, {QStringLiteral("data"), 2},
        {QStringLiteral("sensor"), 3},  {QStringLiteral("events"), 3}, {QStringLiteral("simulator"), 3},
        {QStringLiteral("session"), 4}, {QStringLiteral("export"), 4}, {QStringLiteral("display"), 5},
        {QStringLiteral("cli"), 5},     {QStringLiteral("app"), 6},
    };
    return floors.value(file.section(QLatin1Char('/'), 0, 0), -1);
}

QString folderOf(const QString &file)
{
    return file.section(QLatin1Char('/'), 0, 0);
}

/// The rooms of a floor that has some stand in an order of their own; 0 for a file outside of them.
int roomOf(const QString &file)
{
    static const QStringList rooms{QStringLiteral("display/look"),  QStringLiteral("display/records"),
                                   QStringLiteral("display/plot"),  QStringLiteral("display/overlay"),
                                   QStringLiteral("display/views"), QStringLiteral("display/sensors")};
    return rooms.indexOf(file.section(QLatin1Char('/'), 0, -2)) + 1;
}

/// Written by the build from our own sources: forms and meta objects.
bool isGenerated(const QString &include)
{
    return !include.contains(QLatin1Char('/')) &&
           (include.startsWith(QLatin1String("ui_")) || include.startsWith(QLatin1String("moc_")) ||
            include.endsWith(QLatin1String(".moc")));
}

} // namespace

SourceTree::SourceTree(const QString &folder) : m_folder(folder)
{
    const QDir root(folder);
    QDirIterator walk(folder, {QStringLiteral("*.h"), QStringLiteral("*.cpp"), QStringLiteral("*.inc")}, QDir::Files,
                      QDirIterator::Subdirectories);
    while (walk.hasNext()) {
        const QString path = walk.next();
        m_files.insert(root.relativeFilePath(path), read(path));
    }
}

SourceTree::File SourceTree::read(const QString &path)
{
    static const QRegularExpression include(QStringLiteral("^\\s*#\\s*include\\s*([\"<])([^\">]+)[\">]"));
    static const QRegularExpression condition(QStringLiteral("^\\s*#\\s*(if|ifdef|ifndef|elif)\\b.*$"));
    File found;
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return found;
    const QString text = QString::fromUtf8(file.readAll()).replace(QLatin1String("\\\n"), QLatin1String(" "));
    found.parsesJson = text.contains(QLatin1String("QJsonDocument::fromJson("));
    for (const QString &line : text.split(QLatin1Char('\n'))) {
        const auto included = include.match(line);
        if (included.hasMatch())
            (included.captured(1) == QLatin1String("<") ? found.system : found.own).append(included.captured(2));
        else if (condition.match(line).hasMatch())
            found.conditions.append(line.trimmed());
    }
    return found;
}

QStringList SourceTree::floorBreaches() const
{
    QStringList breaches;
    for (auto file = m_files.cbegin(); file != m_files.cend(); ++file) {
        const int from = floorOf(file.key());
        if (from < 0)
            breaches.append(file.key() + QStringLiteral(" stands in a folder without a floor"));
        for (const QString &included : file->own) {
            if (isGenerated(included))
                continue;
            const QString line = file.key() + QStringLiteral(" includes ") + included;
            if (!m_files.contains(included))
                breaches.append(line + QStringLiteral(", which is not a file of the tree"));
            else if (folderOf(included) != folderOf(file.key()) && floorOf(included) >= from)
                breaches.append(line + QStringLiteral(", which is not on a lower floor"));
            else if (folderOf(included) == folderOf(file.key()) && roomOf(included) > roomOf(file.key()))
                breaches.append(line + QStringLiteral(", which is in a later room"));
        }
    }
    breaches.sort();
    return breaches;
}

bool SourceTree::findCircle(const QString &file, QStringList &road, QSet<QString> &done, QStringList &out) const
{
    if (done.contains(file))
        return false;
    const int seen = road.indexOf(file);
    if (seen >= 0) {
        out.append((road.mid(seen) << file).join(QStringLiteral(" -> ")));
        return true;
    }
    road.append(file);
    bool found = false;
    for (const QString &included : m_files.value(file).own)
        found = findCircle(included, road, done, out) || found;
    road.removeLast();
    done.insert(file);
    return found;
}

QStringList SourceTree::circles() const
{
    QStringList found;
    QSet<QString> done;
    QStringList files = m_files.keys();
    files.sort();
    for (const QString &file : qAsConst(files)) {
        QStringList road;
        findCircle(file, road, done, found);
    }
    return found;
}

QStringList SourceTree::platformBreaches() const
{
    static const QRegularExpression platform(
        QStringLiteral("\\b(Q_OS_|Q_CC_|_?_?WIN32|_WIN64|_MSC_VER|__MINGW|__linux|__unix|__APPLE__|__GNUC__|__clang__|"
                       "_POSIX)"));
    static const QRegularExpression oneSystem(
        QStringLiteral("^(sys/|arpa/|netinet/|linux/|(unistd|fcntl|poll|pthread|signal|termios|dirent|netdb|dlfcn|"
                       "windows|winsock2|io|psapi|direct|process)\\.h$)"));
    QStringList breaches;
    for (auto file = m_files.cbegin(); file != m_files.cend(); ++file) {
        if (file.key() == platformFile)
            continue;
        for (const QString &condition : file->conditions) {
            if (platform.match(condition).hasMatch())
                breaches.append(file.key() + QStringLiteral(": ") + condition);
        }
        for (const QString &header : file->system) {
            if (oneSystem.match(header).hasMatch())
                breaches.append(file.key() + QStringLiteral(" includes <%1>").arg(header));
        }
    }
    breaches.sort();
    return breaches;
}

QStringList SourceTree::widgetBreaches(const QStringList &core, const QSet<QString> &guiHeaders) const
{
    static const QRegularExpression window(
        QStringLiteral("^(Qt(Widgets|Gui|PrintSupport|Svg)(/|$)|qwt|q(widget|gui))"));
    QStringList breaches;
    for (const QString &start : core) {
        QStringList toVisit{start};
        QSet<QString> visited;
        while (!toVisit.isEmpty()) {
            const QString name = toVisit.takeLast();
            if (visited.contains(name))
                continue;
            visited.insert(name);
            const File file = m_files.value(name);
            toVisit += file.own;
            for (const QString &header : file.system) {
                if (!window.match(header).hasMatch() && !guiHeaders.contains(header))
                    continue;
                const QString through = name == start ? QString() : QStringLiteral(" through ") + name;
                breaches.append(QStringLiteral("%1 includes <%2>%3").arg(start, header, through));
            }
        }
    }
    breaches.sort();
    return breaches;
}

QStringList SourceTree::parserBreaches() const
{
    QStringList breaches;
    for (auto file = m_files.cbegin(); file != m_files.cend(); ++file) {
        if (file->parsesJson && file.key() != QLatin1String("base/json.cpp"))
            breaches.append(file.key() + QStringLiteral(" calls QJsonDocument::fromJson instead of parseJson"));
    }
    breaches.sort();
    return breaches;
}

QStringList SourceTree::forgottenFiles() const
{
    QStringList forgotten;
    for (auto file = m_files.cbegin(); file != m_files.cend(); ++file) {
        if (!file.key().endsWith(QLatin1String(".cpp")))
            continue;
        QFile list(m_folder + QLatin1Char('/') + file.key().section(QLatin1Char('/'), 0, -2) +
                   QStringLiteral("/CMakeLists.txt"));
        if (!list.open(QIODevice::ReadOnly))
            continue;
        const QString bare = QRegularExpression::escape(file.key().section(QLatin1Char('/'), -1));
        const QRegularExpression named(QStringLiteral("(^|[\\s(/])%1([\\s)]|$)").arg(bare));
        if (!named.match(QString::fromUtf8(list.readAll())).hasMatch())
            forgotten.append(file.key());
    }
    forgotten.sort();
    return forgotten;
}

QSet<QString> toolkitGuiHeaders()
{
    QSet<QString> names;
    const QDir headers(QLibraryInfo::location(QLibraryInfo::HeadersPath));
    for (const char *module : {"QtWidgets", "QtGui", "QtPrintSupport", "QtSvg"}) {
        for (const QString &name : QDir(headers.filePath(QLatin1String(module))).entryList(QDir::Files))
            names.insert(name);
    }
    return names;
}
