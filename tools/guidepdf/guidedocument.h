#pragma once

#include <QImage>
#include <QSizeF>
#include <QStringList>
#include <QTextDocument>
#include <QVector>

class QPainter;
class QTextBlock;

/// The chapters of a guide as one printable document: a chapter begins on a new page unless much of the last one is
/// free, headings stay with what they head, pictures fit the page, and the headings know their pages. Links between
/// chapters become plain text, as the PDF writer makes none within a file. GUI thread.
class GuideDocument
{
public:
    struct Heading
    {
        int level = 1;
        QString text;
        int page = 0; // from 0
    };

    /// Reads the Markdown files in the order given. False and a reason when one cannot be read.
    bool read(const QStringList &files, QString *reason);
    /// Lays everything out for pages of this size on a device.
    void layOut(const QSizeF &page, QPaintDevice *device);

    int pageCount() const { return m_document.pageCount(); }
    /// Of the levels 1 and 2, after layOut().
    QVector<Heading> headings() const;
    void paintPage(QPainter &painter, int page) const;
    /// Pictures that were not found; their places are left out.
    const QStringList &missingPictures() const { return m_missing; }

private:
    void append(const QString &markdown, const QString &folder);
    void takePictures(QTextDocument &chapter, const QString &folder);
    void styleBlocks();
    void styleText();
    void styleTables();
    void layOutAgain();
    void breakPages();
    double middleOf(const QTextBlock &block) const;

    QTextDocument m_document;
    QVector<QString> m_pictures; // resource names, in order
    QStringList m_missing;
};
