#pragma once

#include "base/nestedloop.h"
#include "base/prompts.h"

#include <QStringList>

#include <functional>

/// Answers for the user and remembers, in order, what was shown: "warn|title|text", "ask|title|text", "open|title" ...
class FakePrompts final : public Prompts
{
public:
    QStringList shown;
    QStringList paths; // answers to choosers, taken from the front; none left: cancelled
    bool yes = true;   // answer to questions
    int choice = 0;    // answer to choose()
    std::optional<double> number;
    bool opens = true;
    More lastMore;
    std::function<void()> during; // called while a box is "open"

    QStringList takeShown()
    {
        QStringList all;
        all.swap(shown);
        return all;
    }

    void warn(QWidget *, const QString &title, const QString &text, const More &more) override
    {
        note("warn", title, text, more);
    }
    void inform(QWidget *, const QString &title, const QString &text, const More &more) override
    {
        note("inform", title, text, more);
    }
    bool ask(QWidget *, const QString &title, const QString &text, const More &more) override
    {
        note("ask", title, text, more);
        return yes;
    }
    int choose(QWidget *, const QString &title, const QString &text, const QStringList &buttons,
               const More &more) override
    {
        note("choose", title, text + QLatin1Char('|') + buttons.join(QLatin1Char('|')), more);
        return choice;
    }
    QString openFile(QWidget *, const QString &title, const QString &, const QString &filter) override
    {
        return path("open", title, filter);
    }
    QString saveFile(QWidget *, const QString &title, const QString &proposed, const QString &,
                     const QString &) override
    {
        return path("save", title, proposed);
    }
    QString chooseFolder(QWidget *, const QString &title, const QString &) override
    {
        return path("folder", title, QString());
    }
    std::optional<double> askNumber(QWidget *, const QString &title, const QString &label, const Number &) override
    {
        note("number", title, label, {});
        return number;
    }
    bool openUrl(const QUrl &url) override
    {
        note("url", url.toString(), QString(), {});
        return opens;
    }
    bool startProgram(const QString &program, const QStringList &) override
    {
        note("program", program, QString(), {});
        return opens;
    }

private:
    void note(const char *kind, const QString &title, const QString &text, const More &more)
    {
        lastMore = more;
        shown.append(QStringLiteral("%1|%2|%3").arg(QLatin1String(kind), title, text));
        const NestedLoop nested; // as a real box
        if (during)
            during();
    }
    QString path(const char *kind, const QString &title, const QString &detail)
    {
        note(kind, title, detail, {});
        return paths.isEmpty() ? QString() : paths.takeFirst();
    }
};
