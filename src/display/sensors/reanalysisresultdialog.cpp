#include "display/sensors/reanalysisresultdialog.h"

#include "data/eventtypelist.h"

#include <QApplication>
#include <QClipboard>
#include <QDialogButtonBox>
#include <QHeaderView>
#include <QLabel>
#include <QLocale>
#include <QPushButton>
#include <QShortcut>
#include <QTableWidget>
#include <QVBoxLayout>

#include <algorithm>

namespace {

constexpr int rowsShown = 14;

struct Change
{
    qint32 from = 0;
    qint32 to = 0;
    int events = 0;

    bool isSame() const { return from == to; }
};

/// Changes first, what stayed the same below.
QVector<Change> changesOf(const reanalysis::Outcome &outcome)
{
    QVector<Change> changes;
    for (auto it = outcome.transitions.cbegin(); it != outcome.transitions.cend(); ++it)
        changes.append({it.key().first, it.key().second, it.value()});
    std::stable_partition(changes.begin(), changes.end(), [](const Change &change) { return !change.isSame(); });
    return changes;
}

} // namespace

ReanalysisResultDialog::ReanalysisResultDialog(const QString &sensor, const reanalysis::Outcome &outcome,
                                               QWidget *parent)
    : QDialog(parent), m_table(new QTableWidget(0, 3))
{
    setObjectName(QStringLiteral("ReanalysisResultDialog"));
    setWindowTitle(tr("Reanalyse Event Data"));
    const QLocale locale;
    int changed = 0;
    for (const Change &change : changesOf(outcome))
        changed += change.isSame() ? 0 : change.events;
    auto *headline = new QLabel(tr("%1 of %2 events of sensor %3 have another class with this configuration.")
                                    .arg(locale.toString(changed), locale.toString(outcome.events), sensor));
    QString text =
        tr("\"Reanalysis Display\" shows them so, \"Original Data Display\" as they were recorded. The stored "
           "events and the sensor's configuration are unchanged.");
    if (outcome.withoutWaveform > 0)
        text += tr(" %1 events have no waveform and keep their class.").arg(locale.toString(outcome.withoutWaveform));
    auto *more = new QLabel(text);
    for (QLabel *label : {headline, more}) {
        label->setTextFormat(Qt::PlainText);
        label->setWordWrap(true);
    }
    headline->setObjectName(QStringLiteral("lb_headline"));
    QFont bold = headline->font();
    bold.setBold(true);
    headline->setFont(bold);

    m_table->setObjectName(QStringLiteral("tw_changes"));
    m_table->setAccessibleName(tr("Changes of class"));
    m_table->setHorizontalHeaderLabels({tr("Was"), tr("Is now"), tr("Events")});
    m_table->setEditTriggers(QAbstractItemView::NoEditTriggers);
    m_table->setSelectionBehavior(QAbstractItemView::SelectRows);
    m_table->horizontalHeader()->setSectionResizeMode(QHeaderView::Stretch);
    m_table->verticalHeader()->hide();
    fill(outcome);
    connect(new QShortcut(QKeySequence::Copy, this), &QShortcut::activated, this, &ReanalysisResultDialog::copy);

    auto *buttons = new QDialogButtonBox(QDialogButtonBox::Close);
    QPushButton *show = buttons->addButton(tr("Show Reanalysed Events"), QDialogButtonBox::AcceptRole);
    QPushButton *copyButton = buttons->addButton(tr("Copy Table"), QDialogButtonBox::ActionRole);
    show->setEnabled(changed > 0);
    show->setToolTip(changed > 0 ? tr("Switch this sensor to \"Reanalysis Display\"")
                                 : tr("No event has another class, so there is nothing to see."));
    copyButton->setToolTip(tr("Copy the table for a spreadsheet (Ctrl+C)"));
    connect(copyButton, &QPushButton::clicked, this, &ReanalysisResultDialog::copy);
    connect(buttons, &QDialogButtonBox::accepted, this, &QDialog::accept);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);

    auto *layout = new QVBoxLayout(this);
    layout->addWidget(headline);
    layout->addWidget(m_table, 1);
    layout->addWidget(more);
    layout->addWidget(buttons);
    const int rows = std::clamp(m_table->rowCount(), 3, rowsShown);
    resize(fontMetrics().averageCharWidth() * 72,
           (rows + 1) * m_table->verticalHeader()->defaultSectionSize() + fontMetrics().height() * 11);
}

void ReanalysisResultDialog::fill(const reanalysis::Outcome &outcome)
{
    const QVector<Change> changes = changesOf(outcome);
    m_table->setRowCount(changes.size());
    for (int row = 0; row < changes.size(); ++row) {
        const Change &change = changes.at(row);
        const QString texts[] = {eventtype::name(change.from),
                                 change.isSame() ? tr("unchanged") : eventtype::name(change.to),
                                 QLocale().toString(change.events)};
        for (int column = 0; column < 3; ++column) {
            auto *item = new QTableWidgetItem(texts[column]);
            if (change.isSame())
                item->setForeground(palette().brush(QPalette::Disabled, QPalette::Text));
            if (column == 2)
                item->setTextAlignment(Qt::AlignRight | Qt::AlignVCenter);
            m_table->setItem(row, column, item);
        }
    }
}

void ReanalysisResultDialog::copy() const
{
    QStringList lines{tr("Was\tIs now\tEvents")};
    for (int row = 0; row < m_table->rowCount(); ++row) {
        QStringList cells;
        for (int column = 0; column < m_table->columnCount(); ++column)
            cells.append(m_table->item(row, column)->text());
        lines.append(cells.join(QLatin1Char('\t')));
    }
    QApplication::clipboard()->setText(lines.join(QLatin1Char('\n')));
}
