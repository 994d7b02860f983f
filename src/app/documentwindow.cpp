#include "app/documentwindow.h"

#include "base/prompts.h"

#include <QDialogButtonBox>
#include <QDir>
#include <QFile>
#include <QImage>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QScrollBar>
#include <QSplitter>
#include <QTextBlock>
#include <QTextBrowser>
#include <QTextDocument>
#include <QTextFrame>
#include <QTextTable>
#include <QVBoxLayout>

namespace {

constexpr int nameRole = Qt::UserRole;

QString contentOf(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
}

/// Pictures become as wide as the page and not wider.
class Page final : public QTextBrowser
{
public:
    QVariant loadResource(int type, const QUrl &name) override
    {
        const QVariant loaded = QTextBrowser::loadResource(type, name);
        if (type != QTextDocument::ImageResource)
            return loaded;
        QImage picture;
        if (loaded.type() == QVariant::ByteArray)
            picture.loadFromData(loaded.toByteArray());
        else
            picture = loaded.value<QImage>();
        const int bar = verticalScrollBar()->isVisible() ? 0 : verticalScrollBar()->sizeHint().width(); // it will be
        const int widest = qMax(200, viewport()->width() - bar - 2 * int(document()->documentMargin()) - 4);
        const double scale = devicePixelRatioF();
        if (picture.width() > widest * scale)
            picture = picture.scaledToWidth(int(widest * scale), Qt::SmoothTransformation);
        picture.setDevicePixelRatio(scale);
        return picture;
    }
};

QTextBlock findHeading(const QTextDocument &document, const QString &anchor)
{
    QTextBlock block = document.begin();
    while (block.isValid() && (block.blockFormat().headingLevel() == 0 || headingAnchor(block.text()) != anchor))
        block = block.next();
    return block;
}

/// Markdown has no say in how a table looks.
void spreadTables(const QTextDocument &document)
{
    const QList<QTextFrame *> frames = document.rootFrame()->childFrames();
    for (QTextFrame *frame : frames) {
        auto *const table = qobject_cast<QTextTable *>(frame);
        if (!table)
            continue;
        QTextTableFormat format = table->format();
        format.setCellSpacing(0);
        format.setCellPadding(4);
        format.setBorderStyle(QTextFrameFormat::BorderStyle_Solid);
        format.setBorder(0.5);
        table->setFormat(format);
    }
}

} // namespace

QString headingAnchor(const QString &heading)
{
    QString anchor;
    for (const QChar c : heading.toLower()) {
        if (c.isLetterOrNumber() || c == QLatin1Char('-') || c == QLatin1Char('_'))
            anchor.append(c);
        else if (c.isSpace())
            anchor.append(QLatin1Char('-'));
    }
    return anchor;
}

DocumentWindow *DocumentWindow::open(QWidget *parent, const QString &folder, const QString &title, Prompts &prompts)
{
    DocumentWindow *window = nullptr;
    const auto others = parent->findChildren<DocumentWindow *>(QString(), Qt::FindDirectChildrenOnly);
    for (DocumentWindow *other : others) {
        if (other->m_folder == folder)
            window = other;
    }
    if (!window)
        window = new DocumentWindow(parent, folder, title, prompts);
    window->show();
    window->raise();
    window->activateWindow();
    return window;
}

DocumentWindow::DocumentWindow(QWidget *parent, const QString &folder, const QString &title, Prompts &prompts)
    : QDialog(parent), m_folder(folder), m_prompts(prompts)
{
    setObjectName(QStringLiteral("DocumentWindow"));
    setAttribute(Qt::WA_DeleteOnClose);
    setWindowTitle(title);
    m_chapters = new QListWidget;
    m_chapters->setObjectName(QStringLiteral("lw_chapters"));
    m_chapters->setAccessibleName(tr("Chapters"));
    const QStringList files = QDir(folder).entryList({QStringLiteral("*.md"), QStringLiteral("*.txt")});
    for (const QString &file : files) {
        const QString content = contentOf(folder + QLatin1Char('/') + file);
        const bool isTitled = content.startsWith(QLatin1String("# "));
        auto *item = new QListWidgetItem(isTitled ? content.section(QLatin1Char('\n'), 0, 0).mid(2)
                                                  : file.section(QLatin1Char('.'), 0, -2),
                                         m_chapters);
        item->setData(nameRole, file);
    }
    m_page = new Page;
    m_page->setObjectName(QStringLiteral("page"));
    m_page->setAccessibleName(tr("Page"));
    m_page->setOpenLinks(false);
    auto *find = new QLineEdit;
    find->setObjectName(QStringLiteral("le_find"));
    find->setPlaceholderText(tr("Find, Enter for the next place"));
    find->setAccessibleName(tr("Find"));
    find->setClearButtonEnabled(true);
    auto *split = new QSplitter;
    split->addWidget(m_chapters);
    split->addWidget(m_page);
    split->setStretchFactor(1, 1);
    const int listWidth = m_chapters->sizeHintForColumn(0) + 4 * fontMetrics().averageCharWidth();
    split->setSizes({listWidth, fontMetrics().averageCharWidth() * 132 - listWidth});
    auto *buttons = new QDialogButtonBox(QDialogButtonBox::Close);
    buttons->button(QDialogButtonBox::Close)->setAutoDefault(false);
    auto *bottom = new QHBoxLayout;
    bottom->addWidget(find, 1);
    bottom->addWidget(buttons);
    auto *layout = new QVBoxLayout(this);
    layout->addWidget(split, 1);
    layout->addLayout(bottom);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::close);
    connect(find, &QLineEdit::returnPressed, this, [this, find] { search(find->text()); });
    connect(m_page, &QTextBrowser::anchorClicked, this, &DocumentWindow::openLink);
    connect(m_chapters, &QListWidget::currentItemChanged, this, [this](const QListWidgetItem *item) {
        if (item && item->data(nameRole).toString() != currentFile())
            showPage(item->data(nameRole).toString());
    });
    resize(fontMetrics().averageCharWidth() * 132, fontMetrics().height() * 44);
    if (!files.isEmpty())
        showPage(files.first());
}

void DocumentWindow::showPage(const QString &file, const QString &heading)
{
    const QString path = m_folder + QLatin1Char('/') + file;
    if (file != currentFile()) {
        if (file.endsWith(QLatin1String(".md"))) {
            m_page->setSource(QUrl(QStringLiteral("qrc") + path));
            spreadTables(*m_page->document());
        } else { // licences, whose lines are broken already
            m_page->setSource(QUrl());
            m_page->setHtml(QStringLiteral("<pre>%1</pre>").arg(contentOf(path).toHtmlEscaped()));
        }
        m_page->setProperty("file", file);
        for (int i = 0; i < m_chapters->count(); ++i) {
            if (m_chapters->item(i)->data(nameRole) == file)
                m_chapters->setCurrentRow(i);
        }
    }
    if (heading.isEmpty() || !scrollTo(heading))
        m_page->verticalScrollBar()->setValue(0);
}

QString DocumentWindow::currentFile() const
{
    return m_page->property("file").toString();
}

bool DocumentWindow::isInView(const QString &heading) const
{
    const QTextBlock block = findHeading(*m_page->document(), headingAnchor(heading));
    return block.isValid() && m_page->viewport()->rect().intersects(m_page->cursorRect(QTextCursor(block)));
}

bool DocumentWindow::scrollTo(const QString &heading)
{
    const QTextBlock block = findHeading(*m_page->document(), headingAnchor(heading));
    if (!block.isValid())
        return false;
    QTextCursor cursor(block);
    m_page->moveCursor(QTextCursor::End); // so that the place comes to the top, not to the bottom
    m_page->setTextCursor(cursor);
    const int top = m_page->cursorRect(cursor).top() + m_page->verticalScrollBar()->value();
    m_page->verticalScrollBar()->setValue(top);
    return true;
}

void DocumentWindow::openLink(const QUrl &link)
{
    if (link.scheme().startsWith(QLatin1String("http"))) {
        m_prompts.openUrl(link);
        return;
    }
    const QString file = link.path().section(QLatin1Char('/'), -1);
    showPage(file.isEmpty() ? currentFile() : file, link.fragment());
}

/// In the rest of this document, then in those behind it and around.
void DocumentWindow::search(const QString &text)
{
    if (text.isEmpty() || m_page->find(text))
        return;
    const int count = m_chapters->count();
    const int current = m_chapters->currentRow();
    for (int step = 1; step <= count; ++step) {
        const QString file = m_chapters->item((current + step) % count)->data(nameRole).toString();
        if (!contentOf(m_folder + QLatin1Char('/') + file).contains(text, Qt::CaseInsensitive))
            continue;
        showPage(file);
        m_page->moveCursor(QTextCursor::Start);
        if (m_page->find(text))
            return;
    }
}
