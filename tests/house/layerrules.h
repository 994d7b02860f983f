#pragma once

#include <QHash>
#include <QSet>
#include <QString>
#include <QStringList>

/// The sources below one folder as a graph of includes, and the rules of the house checked on it. Every check returns
/// one line for each breach, empty when there is none. Paths are relative to the folder, as in the includes.
class SourceTree
{
public:
    explicit SourceTree(const QString &folder);

    int fileCount() const { return m_files.size(); }

    /// Includes run from a floor to a lower one or stay in their folder, there in the order of its rooms; they name an
    /// existing file as "folder/file.h" or "folder/room/file.h".
    QStringList floorBreaches() const;
    /// No file reaches itself through its includes.
    QStringList circles() const;
    /// Conditions on a platform and headers of one system stand in the platform file alone.
    QStringList platformBreaches() const;
    /// No file of `core` includes something of windows, directly or through other files.
    QStringList widgetBreaches(const QStringList &core, const QSet<QString> &guiHeaders) const;
    /// JSON from outside is read by our own reader alone: the toolkit's loses memory on repeated keys.
    QStringList parserBreaches() const;
    /// Every ".cpp" is named in the build file of its folder, where there is one.
    QStringList forgottenFiles() const;

private:
    struct File
    {
        QStringList own;         // "folder/file.h"
        QStringList system;      // what stands between < and >
        QStringList conditions;  // preprocessor conditions, each on one line
        bool parsesJson = false; // with the toolkit's parser
    };

    static File read(const QString &path);
    bool findCircle(const QString &file, QStringList &road, QSet<QString> &done, QStringList &out) const;

    QString m_folder;
    QHash<QString, File> m_files;
};

/// The names under which the toolkit's window modules can be included.
QSet<QString> toolkitGuiHeaders();
