#pragma once

#include <QString>
#include <QStringList>
#include <QVariant>

#include <memory>

class QSettings;

/// The user's settings that more than one window needs, by name: one home for their keys. Values that make no sense
/// fall back to defaults. GUI thread.
class AppSettings
{
public:
    static const QString &organisation(); // "Kelvaris"
    static const QString &domain();
    static const QString &application(); // "Norvex"

    static constexpr int recentSessionsKept = 20;
    static constexpr int recentSessionsShown = 6;
    static constexpr int recentRecipesKept = 8;

    /// The per-user store of the organisation and application above, or the file at `path` (for tests), or nothing at
    /// all: defaults are read and what is written is forgotten when the program ends.
    enum class Source { User, Forgotten };
    explicit AppSettings(Source source = Source::User);
    explicit AppSettings(const QString &path);
    ~AppSettings();

    QString currentSessionPath() const;
    void setCurrentSessionPath(const QString &folder);
    /// Folders of recently used sessions, newest first; entries whose folder is gone are left out.
    QStringList recentSessions() const;
    void setRecentSessions(const QStringList &folders);
    /// `folder` in front of `recent`, once, and at most recentSessionsKept in all.
    static QStringList withRecentSession(const QStringList &recent, const QString &folder);

    /// Where recipes live: "Recipes" in the user's application data; not necessarily there yet.
    static QString recipeFolder();
    QStringList recentRecipes() const;
    void addRecentRecipe(const QString &path);

    /// Anything a single window keeps for itself, "group/key".
    QVariant value(const QString &key, const QVariant &fallback = QVariant()) const;
    void setValue(const QString &key, const QVariant &value);
    /// For what keeps a group of its own; no group is open.
    QSettings &store() const { return *m_settings; }

private:
    std::unique_ptr<QSettings> m_settings;
    QString m_temporary;
};
