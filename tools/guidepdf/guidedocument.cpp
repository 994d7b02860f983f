#include "guidedocument.h"

#include <QAbstractTextDocumentLayout>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QFontDatabase>
#include <QPainter>
#include <QTextBlock>
#include <QTextCursor>
#include <QTextDocumentFragment>
#include <QTextLayout>
#include <QTextTable>
#include <QUrl>

#include <cmath>

namespace {

constexpr int bodyPoints = 10;
constexpr double codePoints = 8.5;
constexpr double spaceAfterCode = 6;
constexpr double widestPicture = 600; // of the layout's 96 dots per inch; A4 within its margins has 640
constexpr double fullEnough = 0.5;    // of a page, for the next chapter to begin a new one
constexpr double lastLine = 0.01;     // of a page: half of what a line takes
const QString fixedFamily = QStringLiteral("DejaVu Sans Mono");
const QColor ink(0x22, 0x22, 0x22);
const QColor rule(0xc8, 0xc8, 0xc8);
const QColor shade(0xf2, 0xf2, 0xf2);

double headingPoints(int level)
{
    return level == 1 ? 20 : level == 2 ? 14 : 11;
}

bool isCode(const QTextBlockFormat &format)
{
    return format.hasProperty(QTextFormat::BlockCodeFence) || format.hasProperty(QTextFormat::BlockCodeLanguage) ||
           format.nonBreakableLines();
}

/// Every piece of text of a document, with its position.
template <typename Visit>
void forEachFragment(const QTextDocument &document, Visit visit)
{
    for (QTextBlock block = document.begin(); block.isValid(); block = block.next()) {
        for (auto it = block.begin(); !it.atEnd(); ++it)
            visit(block, it.fragment());
    }
}

} // namespace

bool GuideDocument::read(const QStringList &files, QString *reason)
{
    m_document.setDefaultFont(QFont(QStringLiteral("DejaVu Sans"), bodyPoints));
    m_document.setDocumentMargin(0);
    for (const QString &name : files) {
        QFile file(name);
        if (!file.open(QIODevice::ReadOnly)) {
            *reason = QStringLiteral("%1: %2").arg(name, file.errorString());
            return false;
        }
        append(QString::fromUtf8(file.readAll()), QFileInfo(name).path());
    }
    styleBlocks();
    styleTables();
    return true;
}

void GuideDocument::append(const QString &markdown, const QString &folder)
{
    QTextDocument chapter;
    chapter.setDefaultFont(m_document.defaultFont());
    chapter.setMarkdown(markdown, QTextDocument::MarkdownDialectGitHub);
    takePictures(chapter, folder);
    QTextCursor cursor(&m_document);
    cursor.movePosition(QTextCursor::End);
    if (!m_document.isEmpty())
        cursor.insertBlock(chapter.begin().blockFormat(), chapter.begin().charFormat());
    cursor.insertFragment(QTextDocumentFragment(&chapter));
}

/// Loads the pictures into this document under names of their own and gives them widths.
void GuideDocument::takePictures(QTextDocument &chapter, const QString &folder)
{
    struct Place
    {
        int position;
        int length;
        QTextImageFormat format;
    };
    QVector<Place> places;
    forEachFragment(chapter, [&places](const QTextBlock &, const QTextFragment &fragment) {
        if (fragment.charFormat().isImageFormat())
            places.prepend({fragment.position(), fragment.length(), fragment.charFormat().toImageFormat()});
    });
    for (const Place &place : qAsConst(places)) { // from the last to the first: positions stay valid
        QTextCursor cursor(&chapter);
        cursor.setPosition(place.position);
        cursor.setPosition(place.position + place.length, QTextCursor::KeepAnchor);
        const QString path = QDir(folder).absoluteFilePath(place.format.name());
        const QImage picture(path);
        if (picture.isNull()) {
            m_missing.append(QDir::cleanPath(path));
            cursor.removeSelectedText();
            continue;
        }
        const QString name = QStringLiteral("picture:%1").arg(m_pictures.size());
        m_pictures.append(name);
        m_document.addResource(QTextDocument::ImageResource, QUrl(name), picture);
        QTextImageFormat format;
        format.setName(name);
        format.setWidth(qMin(widestPicture, double(picture.width())));
        format.setHeight(format.width() * picture.height() / picture.width());
        cursor.insertImage(format);
    }
}

void GuideDocument::styleBlocks()
{
    for (QTextBlock block = m_document.begin(); block.isValid(); block = block.next()) {
        QTextCursor cursor(block);
        cursor.movePosition(QTextCursor::EndOfBlock, QTextCursor::KeepAnchor);
        QTextBlockFormat format = block.blockFormat();
        QTextCharFormat text;
        if (const int level = format.headingLevel()) {
            format.setTopMargin(level == 1 ? 40 : level == 2 ? 16 : 10);
            format.setBottomMargin(level == 1 ? 12 : 5);
        } else if (isCode(format) && block.text().isEmpty() && !isCode(block.next().blockFormat())) {
            format.setLineHeight(spaceAfterCode, QTextBlockFormat::FixedHeight); // the toolkit adds an empty line
        } else if (isCode(format)) {
            format.setBackground(shade);
            format.setLeftMargin(8);
            format.setTopMargin(0);
            format.setBottomMargin(0);
            format.setNonBreakableLines(false);
            text.setFontFamily(fixedFamily);
            text.setFontFamilies({fixedFamily});
            text.setFontPointSize(codePoints);
        } else if (!cursor.currentTable() && !block.textList()) {
            format.setBottomMargin(6);
            format.setTopMargin(2);
        }
        cursor.setBlockFormat(format);
        if (!text.isEmpty())
            cursor.mergeCharFormat(text);
    }
    styleText();
}

/// Sizes of headings, pieces of code within a line, and links: only those of the web lead anywhere.
void GuideDocument::styleText()
{
    QVector<QPair<QPair<int, int>, QTextCharFormat>> changes;
    forEachFragment(m_document, [&changes](const QTextBlock &block, const QTextFragment &fragment) {
        QTextCharFormat format = fragment.charFormat();
        if (format.isImageFormat())
            return;
        if (const int level = block.blockFormat().headingLevel()) {
            format.clearProperty(QTextFormat::FontSizeAdjustment); // it would decide over the size
            format.setFontPointSize(headingPoints(level));
            format.setFontWeight(QFont::Bold);
        } else if (format.hasProperty(QTextFormat::FontFamily)) { // only code has one
            format.setFontFamily(fixedFamily);
            format.setFontFamilies({fixedFamily});
            format.setFontPointSize(codePoints);
        }
        if (format.isAnchor() && !format.anchorHref().startsWith(QLatin1String("http"))) {
            format.clearProperty(QTextFormat::IsAnchor);
            format.clearProperty(QTextFormat::AnchorHref);
            format.setFontUnderline(false);
            format.setFontItalic(true);
        }
        format.setForeground(ink);
        changes.append({{fragment.position(), fragment.length()}, format});
    });
    for (const auto &change : qAsConst(changes)) {
        QTextCursor cursor(&m_document);
        cursor.setPosition(change.first.first);
        cursor.setPosition(change.first.first + change.first.second, QTextCursor::KeepAnchor);
        cursor.setCharFormat(change.second);
    }
}

void GuideDocument::styleTables()
{
    const QList<QTextFrame *> frames = m_document.rootFrame()->childFrames();
    for (QTextFrame *frame : frames) {
        auto *table = qobject_cast<QTextTable *>(frame);
        if (!table)
            continue;
        QTextTableFormat format = table->format();
        format.setBorder(0.5);
        format.setBorderBrush(rule);
        format.setBorderStyle(QTextFrameFormat::BorderStyle_Solid);
        format.setBorderCollapse(true);
        format.setCellPadding(4);
        format.setCellSpacing(0);
        format.setTopMargin(6);
        format.setBottomMargin(10);
        format.setHeaderRowCount(1);
        table->setFormat(format);
        for (int column = 0; column < table->columns(); ++column) {
            QTextTableCell cell = table->cellAt(0, column);
            QTextCharFormat head = cell.format();
            head.setBackground(shade);
            cell.setFormat(head);
        }
    }
}

void GuideDocument::layOut(const QSizeF &page, QPaintDevice *device)
{
    m_document.documentLayout()->setPaintDevice(device);
    m_document.setPageSize(page);
    breakPages();
}

/// The middle of its first line, which may be a page below where the block begins.
double GuideDocument::middleOf(const QTextBlock &block) const
{
    const QRectF place = m_document.documentLayout()->blockBoundingRect(block);
    const QTextLayout *const layout = block.layout();
    if (layout->lineCount() == 0)
        return place.center().y();
    return place.top() - layout->boundingRect().top() + layout->lineAt(0).rect().center().y();
}

/// All of it: the toolkit leaves out text when only a part is laid out again for pages.
void GuideDocument::layOutAgain()
{
    m_document.markContentsDirty(0, m_document.characterCount());
    m_document.pageCount();
}

void GuideDocument::breakPages()
{
    layOutAgain();
    const double height = m_document.pageSize().height();
    for (QTextBlock block = m_document.begin().next(); block.isValid(); block = block.next()) {
        const int level = block.blockFormat().headingLevel();
        const bool leads = level > 0 || block.text().endsWith(QLatin1Char(':'));
        if (!leads || QTextCursor(block).currentTable())
            continue;
        const double top = std::fmod(middleOf(block), height);
        const double below = middleOf(block.next()) - middleOf(block);
        if ((level == 1 && top > fullEnough * height) || top + below + lastLine * height > height) {
            QTextBlock first = block;
            while (first.previous().blockFormat().headingLevel() > 0)
                first = first.previous();
            QTextBlockFormat format = first.blockFormat();
            format.setTopMargin(0);
            format.setPageBreakPolicy(QTextFormat::PageBreak_AlwaysBefore);
            QTextCursor(first).setBlockFormat(format);
            layOutAgain();
        }
    }
}

QVector<GuideDocument::Heading> GuideDocument::headings() const
{
    QVector<Heading> list;
    const double height = m_document.pageSize().height();
    for (QTextBlock block = m_document.begin(); block.isValid(); block = block.next()) {
        const int level = block.blockFormat().headingLevel();
        if (level < 1 || level > 2)
            continue;
        const QRectF place = m_document.documentLayout()->blockBoundingRect(block);
        list.append({level, block.text(), int(place.center().y() / height)});
    }
    return list;
}

void GuideDocument::paintPage(QPainter &painter, int page) const
{
    const QSizeF size = m_document.pageSize();
    QAbstractTextDocumentLayout::PaintContext context;
    // Less than a line: what the next page begins with would draw its upper edge here.
    context.clip = QRectF(0, page * size.height(), size.width(), size.height() - 2);
    context.palette.setColor(QPalette::Text, ink);
    painter.save();
    painter.translate(0, -page * size.height());
    painter.setClipRect(context.clip);
    m_document.documentLayout()->draw(&painter, context);
    painter.restore();
}
