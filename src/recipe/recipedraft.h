#pragma once

#include "recipe/recipe.h"

#include <QDateTime>
#include <QLockFile>
#include <QString>

#include <memory>
#include <vector>

/// What an editor holds that is in no recipe file yet. Its file is JSON:
///
///   "norvex_draft"   1
///   "recipe"         the recipe, as in a ".recipe" file
///   "step"           a recipe of one step: what the step editor shows
///   "edited"         the step being changed, from 0; -1 for none
struct RecipeDraft
{
    Recipe recipe;
    Recipe step;
    int edited = -1;

    QByteArray toBytes() const;
    /// False, and nothing changed, for anything else than such a file.
    bool fromBytes(const QByteArray &bytes);
};

/// Keeps one editor's draft in a folder, so that it outlives a crash, and finds those of editors that did not end well.
/// A lock file beside each draft tells whether its editor is still there. Used from one thread; owned by its editor.
class DraftKeeper
{
public:
    explicit DraftKeeper(const QString &folder);
    ~DraftKeeper();

    /// Replaces this editor's draft. False and a reason when it cannot be written.
    bool write(const RecipeDraft &draft, QString *error = nullptr);
    /// Removes it: there is nothing unsaved any more.
    void clear();

    /// The newest draft that an editor has left behind; it stays found until it is taken or the keeper goes.
    bool hasFound() const { return !m_found.empty(); }
    const RecipeDraft &found() const { return m_found.front().draft; }
    const QDateTime &foundTime() const { return m_found.front().written; }
    /// The found one was restored or refused: removes it and goes on to the next.
    void dropFound();

private:
    struct Found
    {
        QString path;
        QDateTime written;
        RecipeDraft draft;
        std::unique_ptr<QLockFile> lock;
    };

    void search();

    const QString m_folder;
    QString m_path; // empty until the first write
    std::unique_ptr<QLockFile> m_lock;
    std::vector<Found> m_found; // newest first
};
