#include "display/plot/cursorpanel.h"

#include "display/look/readableink.h"

#include <QApplication>
#include <QClipboard>
#include <QHBoxLayout>
#include <QLabel>
#include <QToolButton>
#include <QVBoxLayout>

namespace {

QString coloured(const QString &text, const QColor &colour)
{
    return QStringLiteral("<span style=\"color:%1\">%2</span>").arg(colour.name(), text.toHtmlEscaped());
}

QString html(const CursorReadout &readout, const Theme &theme)
{
    QString text;
    for (int i = 0; i < 2; ++i)
        if (!readout.moments[i].isEmpty())
            text += QStringLiteral("<b>%1</b> %2&nbsp;&nbsp;&nbsp; ")
                        .arg(coloured(QString::number(i + 1), theme.cursorPen(i).color()),
                             readout.moments[i].toHtmlEscaped());
    if (readout.summary.isEmpty())
        text += coloured(QCoreApplication::translate("cursorpanel", "Place the other cursor with %1")
                             .arg(readout.moments[0].isEmpty() ? 1 : 2),
                         theme.mutedText());
    else
        text += readout.summary.toHtmlEscaped();
    text += QStringLiteral("<table cellspacing=\"0\"><tr>");
    for (int i = 0; i < readout.columns.size(); ++i)
        text += QStringLiteral("<td align=\"%1\" style=\"padding-right:18px\">%2</td>")
                    .arg(i ? QStringLiteral("right") : QStringLiteral("left"),
                         coloured(readout.columns[i], theme.mutedText()));
    text += QStringLiteral("</tr>");
    for (const CursorReadout::Row &row : readout.rows) {
        text += QStringLiteral("<tr>");
        for (int i = 0; i < row.cells.size(); ++i) {
            const QColor ink =
                i ? theme.text()
                  : readableInk(
                        theme,
                        theme.curvePen(row.sensor->colour, row.sensor->number, row.axis == PlotView::Right).color());
            text += QStringLiteral("<td align=\"%1\" style=\"padding-right:18px; white-space:nowrap\">%2</td>")
                        .arg(i ? QStringLiteral("right") : QStringLiteral("left"), coloured(row.cells[i], ink));
        }
        text += QStringLiteral("</tr>");
    }
    return text + QStringLiteral("</table>");
}

} // namespace

CursorPanel::CursorPanel(QWidget *parent)
    : QWidget(parent), m_label(new QLabel), m_copy(new QToolButton), m_remove(new QToolButton)
{
    auto *layout = new QHBoxLayout(this);
    layout->setContentsMargins(8, 2, 4, 2);
    m_label->setObjectName(QStringLiteral("cursorReadout"));
    m_label->setTextFormat(Qt::RichText);
    m_label->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
    m_copy->setObjectName(QStringLiteral("copyCursors"));
    m_copy->setText(tr("Copy"));
    m_copy->setToolTip(tr("Copy the measurements as a table"));
    m_remove->setObjectName(QStringLiteral("removeCursors"));
    m_remove->setText(tr("Remove"));
    m_remove->setToolTip(tr("Remove the cursors (Esc)"));
    layout->addWidget(m_label, 1, Qt::AlignTop);
    auto *buttons = new QVBoxLayout;
    buttons->addWidget(m_copy);
    buttons->addWidget(m_remove);
    buttons->addStretch();
    layout->addLayout(buttons);
    connect(m_copy, &QToolButton::clicked, this, [this] { QApplication::clipboard()->setText(m_readout.toText()); });
    connect(m_remove, &QToolButton::clicked, this, &CursorPanel::removeChosen);
}

void CursorPanel::show(const CursorReadout &readout, const Theme &theme)
{
    m_readout = readout;
    const QString text = html(readout, theme);
    // A selection in progress is not taken away.
    if (text != m_label->text() && !m_label->hasSelectedText())
        m_label->setText(text);
}
