#include "guidedocument.h"

#include <QFile>
#include <QGuiApplication>
#include <QPainter>
#include <QPdfWriter>

#include <cstdio>

namespace {

constexpr int dotsPerInch = 600;
constexpr double marginMm = 20;
constexpr double footerMm = 10;

double dots(double mm)
{
    return mm / 25.4 * dotsPerInch;
}

QFont fontOf(double points, bool bold = false)
{
    QFont font(QStringLiteral("DejaVu Sans"));
    font.setPointSizeF(points);
    font.setBold(bold);
    return font;
}

/// Title and contents, on as many pages as the headings need.
class FrontPages
{
public:
    FrontPages(const QString &title, const QVector<GuideDocument::Heading> &headings, const QSizeF &page)
        : m_title(title), m_headings(headings), m_page(page)
    {}

    int count() const { return 1 + (m_headings.size() - 1) / linesPerPage(); }

    void paint(QPainter &painter, int page) const
    {
        painter.setFont(fontOf(22, true));
        painter.drawText(QRectF(0, 0, m_page.width(), titleHeight), Qt::AlignLeft | Qt::AlignVCenter,
                         page == 0 ? m_title : QStringLiteral("Contents"));
        const int end = qMin(m_headings.size(), (page + 1) * linesPerPage());
        double y = titleHeight;
        for (int i = page * linesPerPage(); i < end; ++i, y += lineHeight)
            paintLine(painter, m_headings.at(i), y);
    }

private:
    int linesPerPage() const { return int((m_page.height() - titleHeight) / lineHeight); }

    void paintLine(QPainter &painter, const GuideDocument::Heading &heading, double y) const
    {
        const bool chapter = heading.level == 1;
        painter.setFont(fontOf(chapter ? 11 : 9.5, chapter));
        const double indent = chapter ? 0 : dots(6);
        const QString number = QString::number(heading.page + count() + 1);
        const double numberWidth = dots(12);
        const QRectF line(indent, y, m_page.width() - indent - numberWidth, lineHeight);
        painter.drawText(line, Qt::AlignLeft | Qt::AlignVCenter, heading.text);
        painter.drawText(QRectF(m_page.width() - numberWidth, y, numberWidth, lineHeight),
                         Qt::AlignRight | Qt::AlignVCenter, number);
        const double from = indent + painter.fontMetrics().horizontalAdvance(heading.text) + dots(2);
        const double to = m_page.width() - painter.fontMetrics().horizontalAdvance(number) - dots(2);
        painter.setPen(QPen(QColor(0xaa, 0xaa, 0xaa), dots(0.2), Qt::DotLine));
        painter.drawLine(QPointF(from, y + lineHeight * 0.65), QPointF(to, y + lineHeight * 0.65));
        painter.setPen(Qt::black);
    }

    const double titleHeight = dots(24);
    const double lineHeight = dots(5.6);
    const QString m_title;
    const QVector<GuideDocument::Heading> m_headings;
    const QSizeF m_page;
};

void paintFooter(QPainter &painter, const QSizeF &page, const QString &title, int number)
{
    painter.setFont(fontOf(8));
    painter.setPen(QColor(0x66, 0x66, 0x66));
    const QRectF line(0, page.height() + dots(4), page.width(), dots(footerMm - 4));
    painter.drawText(line, Qt::AlignLeft | Qt::AlignBottom, title);
    painter.drawText(line, Qt::AlignRight | Qt::AlignBottom, QString::number(number));
    painter.setPen(Qt::black);
}

int fail(const QString &reason)
{
    std::fprintf(stderr, "guidepdf: %s\n", qPrintable(reason));
    return 1;
}

} // namespace

/// guidepdf OUTPUT.pdf TITLE CHAPTER.md...
int main(int argc, char **argv)
{
    QGuiApplication application(argc, argv);
    const QStringList arguments = QGuiApplication::arguments();
    if (arguments.size() < 4)
        return fail(QStringLiteral("usage: guidepdf OUTPUT.pdf TITLE CHAPTER.md..."));
    const QString output = arguments.at(1);
    const QString title = arguments.at(2);

    GuideDocument document;
    QString reason;
    if (!document.read(arguments.mid(3), &reason))
        return fail(reason);
    for (const QString &picture : document.missingPictures())
        std::fprintf(stderr, "guidepdf: left out, there is no %s\n", qPrintable(picture));

    QFile file(output);
    if (!file.open(QIODevice::WriteOnly))
        return fail(QStringLiteral("%1: %2").arg(output, file.errorString()));
    QPdfWriter writer(&file);
    writer.setTitle(title);
    writer.setCreator(QStringLiteral("guidepdf"));
    writer.setResolution(dotsPerInch);
    writer.setPageSize(QPageSize(QPageSize::A4));
    writer.setPageMargins(QMarginsF(marginMm, marginMm, marginMm, marginMm + footerMm), QPageLayout::Millimeter);
    const QSizeF page(writer.width(), writer.height());
    document.layOut(page, &writer);

    const FrontPages front(title, document.headings(), page);
    const int pages = front.count() + document.pageCount();
    QPainter painter(&writer);
    for (int i = 0; i < pages; ++i) {
        if (i > 0)
            writer.newPage();
        if (i < front.count())
            front.paint(painter, i);
        else
            document.paintPage(painter, i - front.count());
        paintFooter(painter, page, title, i + 1);
    }
    if (!painter.end() || !file.flush() || file.error() != QFileDevice::NoError)
        return fail(QStringLiteral("%1: %2").arg(output, file.errorString()));
    std::printf("%d pages\n", pages);
    return 0;
}
