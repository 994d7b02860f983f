#pragma once

#include <QString>
#include <QStringList>
#include <QUrl>

#include <optional>

class QWidget;

/// Everything a window says or asks in a box, a chooser or through the desktop. Windows get one by reference, so that a
/// test can answer for the user and assert which boxes came, in which order. GUI thread. Paths are empty when the user
/// cancels.
class Prompts
{
public:
    /// What is shown below the text of a box: what to do next, and the long story behind "Show Details...".
    struct More
    {
        QString informative;
        QString details;
    };

    virtual ~Prompts() = default;

    virtual void warn(QWidget *parent, const QString &title, const QString &text, const More &more = {}) = 0;
    virtual void inform(QWidget *parent, const QString &title, const QString &text, const More &more = {}) = 0;
    /// A Yes/No question; No is what Escape means.
    virtual bool ask(QWidget *parent, const QString &title, const QString &text, const More &more = {}) = 0;
    /// A warning with buttons of its own; the index of the one pressed, 0 for Escape.
    virtual int choose(QWidget *parent, const QString &title, const QString &text, const QStringList &buttons,
                       const More &more = {}) = 0;

    virtual QString openFile(QWidget *parent, const QString &title, const QString &folder, const QString &filter) = 0;
    /// A name without a suffix gets `defaultSuffix` (none when empty).
    virtual QString saveFile(QWidget *parent, const QString &title, const QString &proposedPath, const QString &filter,
                             const QString &defaultSuffix = QString()) = 0;
    virtual QString chooseFolder(QWidget *parent, const QString &title, const QString &start) = 0;
    /// The folder may be a new one, by a name that the user types; it is there afterwards.
    virtual QString chooseNewFolder(QWidget *parent, const QString &title, const QString &start)
    {
        return chooseFolder(parent, title, start);
    }

    struct Number
    {
        double value = 0;
        double minimum = 0;
        double maximum = 0;
        int decimals = 0;
    };
    virtual std::optional<double> askNumber(QWidget *parent, const QString &title, const QString &label,
                                            const Number &number) = 0;

    /// Opens a file or page with the desktop's own program.
    virtual bool openUrl(const QUrl &url) = 0;
    virtual bool startProgram(const QString &path, const QStringList &arguments) = 0;
};
