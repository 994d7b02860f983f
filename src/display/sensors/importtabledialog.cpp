#include "display/sensors/importtabledialog.h"

#include "data/csvtime.h"

#include <QComboBox>
#include <QDateTime>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QHeaderView>
#include <QLabel>
#include <QPushButton>
#include <QTableWidget>
#include <QVBoxLayout>

namespace {

constexpr int rowsShown = 12;

QString sampleText(const SamplePoint &sample)
{
    const QDateTime time = QDateTime::fromMSecsSinceEpoch(qint64(sample.time / 1000), Qt::UTC);
    return time.toString(QStringLiteral("dd-MM-yyyy HH:mm:ss.zzz")) +
           QStringLiteral("%1").arg(sample.time % 1000, 3, 10, QLatin1Char('0'));
}

} // namespace

ImportTableDialog::ImportTableDialog(const QString &fileName, const QByteArray &beginning,
                                     const csvsamples::Preview &preview, QWidget *parent)
    : QDialog(parent), m_beginning(beginning), m_columns(preview.columns), m_layout(preview.layout)
{
    setObjectName(QStringLiteral("ImportTableDialog"));
    setWindowTitle(tr("Import Ext Data"));
    auto *text = new QLabel(tr("This is how %1 will be read. Correct what was not detected rightly.").arg(fileName));
    text->setTextFormat(Qt::PlainText);
    text->setWordWrap(true);

    m_delimiter = choice(QStringLiteral("cb_delimiter"), tr("Delimiter"));
    m_delimiter->addItem(tr("Semicolon ;"), QChar(u';'));
    m_delimiter->addItem(tr("Comma ,"), QChar(u','));
    m_delimiter->addItem(tr("Tab"), QChar(u'\t'));
    m_delimiter->addItem(tr("Bar |"), QChar(u'|'));
    m_delimiter->addItem(tr("Blanks"), QChar(u' '));
    m_decimal = choice(QStringLiteral("cb_decimal"), tr("Decimal sign"));
    m_decimal->addItem(tr("Point ."), QChar(u'.'));
    m_decimal->addItem(tr("Comma ,"), QChar(u','));
    m_time = choice(QStringLiteral("cb_timeFormat"), tr("Time format"));
    const QStringList formats = csvsamples::timeFormatNames();
    for (int i = 0; i < formats.size(); ++i)
        m_time->addItem(formats.at(i), i);
    m_zone = choice(QStringLiteral("cb_zone"), tr("Times without a zone"));
    m_zone->addItem(tr("UTC"));
    m_zone->addItem(tr("Local, %1").arg(QString::fromUtf8(QTimeZone::systemTimeZoneId())));
    const QString names[] = {tr("Time column"), tr("Voltage column"), tr("Current column")};
    for (int i = 0; i < 3; ++i)
        m_columnChoices[i] = choice(QStringLiteral("cb_column%1").arg(i), names[i]);

    auto *left = new QFormLayout;
    left->addRow(tr("Delimiter"), m_delimiter);
    left->addRow(tr("Decimal sign"), m_decimal);
    left->addRow(tr("Time format"), m_time);
    left->addRow(tr("Times without a zone"), m_zone);
    auto *right = new QFormLayout;
    for (int i = 0; i < 3; ++i)
        right->addRow(names[i], m_columnChoices[i]);
    auto *choices = new QHBoxLayout;
    choices->addLayout(left, 1);
    choices->addLayout(right, 1);

    m_rows = new QTableWidget(0, 3);
    m_rows->setObjectName(QStringLiteral("tw_preview"));
    m_rows->setHorizontalHeaderLabels({tr("Time (UTC)"), tr("Voltage [V]"), tr("Current [A]")});
    m_rows->setAccessibleName(tr("Preview"));
    m_rows->setEditTriggers(QAbstractItemView::NoEditTriggers);
    m_rows->horizontalHeader()->setSectionResizeMode(QHeaderView::Stretch);
    m_rows->horizontalHeader()->setSectionResizeMode(0, QHeaderView::Fixed);
    m_rows->horizontalHeader()->resizeSection(0, fontMetrics().horizontalAdvance(sampleText(SamplePoint())) +
                                                     fontMetrics().averageCharWidth() * 4);
    m_rows->verticalHeader()->hide();
    m_summary = new QLabel;
    m_summary->setObjectName(QStringLiteral("lb_summary"));
    m_summary->setWordWrap(true);
    auto *buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel);
    m_ok = buttons->button(QDialogButtonBox::Ok);
    m_ok->setText(tr("Import"));
    connect(buttons, &QDialogButtonBox::accepted, this, &QDialog::accept);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    auto *outer = new QVBoxLayout(this);
    outer->addWidget(text);
    outer->addLayout(choices);
    outer->addWidget(m_rows, 1);
    outer->addWidget(m_summary);
    outer->addWidget(buttons);
    resize(fontMetrics().averageCharWidth() * 90, fontMetrics().height() * 30);

    m_filling = true;
    m_delimiter->setCurrentIndex(qMax(0, m_delimiter->findData(m_layout.delimiter)));
    m_decimal->setCurrentIndex(qMax(0, m_decimal->findData(m_layout.decimalSign)));
    m_time->setCurrentIndex(qMax(0, m_time->findData(int(m_layout.timeFormat))));
    m_zone->setCurrentIndex(m_layout.zone.isValid() ? 1 : 0);
    m_filling = false;
    fillColumns();
    showRows();
}

QComboBox *ImportTableDialog::choice(const QString &name, const QString &accessibleName)
{
    auto *box = new QComboBox;
    box->setObjectName(name);
    box->setAccessibleName(accessibleName);
    connect(box, QOverload<int>::of(&QComboBox::currentIndexChanged), this, &ImportTableDialog::choicesChanged);
    return box;
}

void ImportTableDialog::fillColumns()
{
    m_filling = true;
    const QVector<csvsamples::Row> rows = csvsamples::rowsOf(m_beginning, m_layout, 1);
    const int cells = rows.isEmpty() ? 0 : rows.first().cells.size();
    const int count = qMax(3, qMax(cells, m_columns.size()));
    const int chosen[] = {m_layout.timeColumn, m_layout.voltageColumn, m_layout.currentColumn};
    for (int i = 0; i < 3; ++i) {
        m_columnChoices[i]->clear();
        for (int column = 0; column < count; ++column) {
            const QString name = m_columns.value(column).trimmed();
            m_columnChoices[i]->addItem(name.isEmpty() ? tr("Column %1").arg(column + 1)
                                                       : tr("%1: %2").arg(column + 1).arg(name));
        }
        m_columnChoices[i]->setCurrentIndex(qMin(chosen[i], count - 1));
    }
    m_filling = false;
}

void ImportTableDialog::choicesChanged()
{
    if (m_filling)
        return;
    const QChar delimiter = m_delimiter->currentData().toChar();
    const bool other = delimiter != m_layout.delimiter;
    m_layout.delimiter = delimiter;
    m_layout.decimalSign = m_decimal->currentData().toChar();
    m_layout.timeFormat = csvsamples::TimeFormat(m_time->currentData().toInt());
    m_layout.zone = m_zone->currentIndex() == 1 ? QTimeZone::systemTimeZone() : QTimeZone();
    m_layout.timeColumn = m_columnChoices[0]->currentIndex();
    m_layout.voltageColumn = m_columnChoices[1]->currentIndex();
    m_layout.currentColumn = m_columnChoices[2]->currentIndex();
    if (other)
        fillColumns();
    showRows();
}

void ImportTableDialog::showRows()
{
    const bool asksForZone = csvtime::mayLackZone(m_layout.timeFormat);
    m_zone->setEnabled(asksForZone);
    m_zone->setToolTip(asksForZone ? tr("The times are shown as they are stored, in UTC.")
                                   : tr("Times of this format are always UTC."));
    const QVector<csvsamples::Row> rows = csvsamples::rowsOf(m_beginning, m_layout, rowsShown);
    m_rows->clearSpans();
    m_rows->setRowCount(rows.size());
    int samples = 0;
    for (int i = 0; i < rows.size(); ++i) {
        const csvsamples::Row &row = rows.at(i);
        samples += row.isSample ? 1 : 0;
        const QStringList texts = row.isSample
                                      ? QStringList{sampleText(row.sample), QString::number(row.sample.voltage),
                                                    QString::number(row.sample.currentReal)}
                                      : QStringList{row.cells.join(QStringLiteral(" | ")), QString(), QString()};
        for (int column = 0; column < 3; ++column) {
            auto *item = new QTableWidgetItem(texts.at(column));
            if (!row.isSample)
                item->setForeground(palette().brush(QPalette::Disabled, QPalette::Text));
            m_rows->setItem(i, column, item);
        }
        if (!row.isSample)
            m_rows->setSpan(i, 0, 1, 3);
    }
    m_ok->setEnabled(samples > 0);
    m_summary->setText(
        samples > 0
            ? tr("%1 of the first %2 lines are samples; other lines are left out.").arg(samples).arg(rows.size())
            : tr("No line is a sample with these choices. A table has a time, a voltage and a current in every line."));
    m_ok->setToolTip(samples > 0 ? QString() : m_summary->text());
}
