#pragma once

#include <QDialog>

class Prompts;
class QListWidget;
class QTextBrowser;
class QUrl;

/// Shows a folder of documents that are built into the program, Markdown and plain text: the chapters at the left, one of
/// them at the right, links between them, and a search through all. One window for each folder and parent, because a
/// window that waits for an answer lets only its own children be used. GUI thread; belongs to its parent and deletes
/// itself when closed.
class DocumentWindow : public QDialog
{
    Q_OBJECT

public:
    /// The window of a folder (":/docs/guide") for a parent, brought to the front.
    static DocumentWindow *open(QWidget *parent, const QString &folder, const QString &title, Prompts &prompts);

    /// Shows a document from the line of a heading; from its beginning when there is no such heading.
    void showPage(const QString &file, const QString &heading = {});
    QString currentFile() const;
    /// Whether a heading of the document can be seen now.
    bool isInView(const QString &heading) const;

private:
    DocumentWindow(QWidget *parent, const QString &folder, const QString &title, Prompts &prompts);
    void openLink(const QUrl &link);
    void search(const QString &text);
    bool scrollTo(const QString &heading);

    const QString m_folder;
    Prompts &m_prompts;
    QListWidget *m_chapters = nullptr;
    QTextBrowser *m_page = nullptr;
};

/// How links name a heading: "By address" is "by-address".
QString headingAnchor(const QString &heading);
