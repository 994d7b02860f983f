#include "export/tablechoices.h"

#include "base/nestedloop.h"
#include "export/exporttables.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDialog>
#include <QDialogButtonBox>
#include <QGridLayout>
#include <QLabel>
#include <QListWidget>
#include <QPushButton>

namespace {

const QString formatKey = QStringLiteral("exportDialog/format");
const QString binKey = QStringLiteral("exportDialog/bin");
const QString quantitiesKey = QStringLiteral("exportDialog/quantities");
constexpr int stretchesMs[] = {0, 10, 100, 1000, 10000, 60000, 600000, 3600000};

/// The checked quantities of a list; the one behind a row is its data.
class QuantityDialog final : public QDialog
{
public:
    QuantityDialog(const QStringList &before, QWidget *parent) : QDialog(parent)
    {
        setObjectName(QStringLiteral("quantityDialog"));
        setWindowTitle(TableChoices::tr("Quantities"));
        m_list = new QListWidget;
        m_list->setObjectName(QStringLiteral("lw_quantities"));
        m_list->setAccessibleName(TableChoices::tr("Quantities to export"));
        const QStringList all = exportQuantities();
        for (const QString &quantity : all) {
            auto *item =
                new QListWidgetItem(QStringLiteral("%1 (%2)").arg(exportQuantityTitle(quantity), quantity), m_list);
            item->setData(Qt::UserRole, quantity);
            item->setCheckState(before.isEmpty() || before.contains(quantity) ? Qt::Checked : Qt::Unchecked);
        }
        auto *buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel);
        m_ok = buttons->button(QDialogButtonBox::Ok);
        const auto checkAll = [this](Qt::CheckState state) {
            for (int i = 0; i < m_list->count(); ++i)
                m_list->item(i)->setCheckState(state);
        };
        auto *everything = buttons->addButton(TableChoices::tr("All"), QDialogButtonBox::ActionRole);
        auto *nothing = buttons->addButton(TableChoices::tr("None"), QDialogButtonBox::ActionRole);
        connect(everything, &QPushButton::clicked, this, [checkAll] { checkAll(Qt::Checked); });
        connect(nothing, &QPushButton::clicked, this, [checkAll] { checkAll(Qt::Unchecked); });
        connect(buttons, &QDialogButtonBox::accepted, this, &QDialog::accept);
        connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
        connect(m_list, &QListWidget::itemChanged, this, [this] { m_ok->setEnabled(!chosen().isEmpty()); });
        auto *layout = new QVBoxLayout(this);
        layout->addWidget(m_list);
        layout->addWidget(buttons);
        resize(fontMetrics().averageCharWidth() * 56, fontMetrics().height() * 26);
    }

    QStringList chosen() const
    {
        QStringList names;
        for (int i = 0; i < m_list->count(); ++i) {
            if (m_list->item(i)->checkState() == Qt::Checked)
                names.append(m_list->item(i)->data(Qt::UserRole).toString());
        }
        return names;
    }

private:
    QListWidget *m_list = nullptr;
    QPushButton *m_ok = nullptr;
};

} // namespace

TableChoices::TableChoices(const Setting &setting, int others, QWidget *parent) : QWidget(parent), m_others(others)
{
    auto *grid = new QGridLayout(this);
    grid->setContentsMargins(0, 0, 0, 0);
    const auto add = [&](int column, const QString &label, const char *name, QComboBox *&box) {
        box = new QComboBox;
        box->setObjectName(QLatin1String(name));
        box->setAccessibleName(label);
        auto *text = new QLabel(label);
        text->setBuddy(box);
        grid->addWidget(text, 0, column);
        grid->addWidget(box, 0, column + 1);
    };
    add(0, tr("Format"), "cb_format", m_format);
    m_format->addItem(tr("Tables (CSV) for spreadsheets and data frames"), int(ExportFormat::Tidy));
    m_format->setToolTip(tr("Numbers in tables have a decimal point. Where a comma is usual, a spreadsheet\nhas to "
                            "import them as English; the help (F1) tells how."));
    m_format->addItem(tr("SQLite database"), int(ExportFormat::Sqlite));
    m_format->addItem(tr("Line protocol for time-series databases"), int(ExportFormat::Line));
    add(2, tr("Values"), "cb_values", m_bins);
    const QStringList stretches{tr("Every sample"),
                                tr("Min, mean, max of 10 ms"),
                                tr("Min, mean, max of 100 ms"),
                                tr("Min, mean, max of 1 s"),
                                tr("Min, mean, max of 10 s"),
                                tr("Min, mean, max of 1 min"),
                                tr("Min, mean, max of 10 min"),
                                tr("Min, mean, max of 1 h")};
    m_bins->addItems(stretches);
    m_quantityButton = new QPushButton;
    m_quantityButton->setObjectName(QStringLiteral("b_quantities"));
    m_quantityButton->setAutoDefault(false);
    m_quantityButton->setToolTip(tr("Which columns the table of samples has"));
    connect(m_quantityButton, &QPushButton::clicked, this, &TableChoices::chooseQuantities);
    grid->addWidget(m_quantityButton, 0, 4);
    grid->setColumnStretch(5, 1);
    m_allSensors = new QCheckBox(tr("All sensors of the session"));
    m_allSensors->setObjectName(QStringLiteral("cb_allSensors"));
    grid->addWidget(m_allSensors, 1, 0, 1, 6);

    ExportFormat kept = ExportFormat::Tidy;
    readExportFormat(setting(formatKey, QString()).toString(), kept);
    m_format->setCurrentIndex(qMax(0, m_format->findData(int(kept))));
    m_bins->setCurrentIndex(qBound(0, setting(binKey, 0).toInt(), m_bins->count() - 1));
    const QStringList known = exportQuantities();
    const QStringList quantities = setting(quantitiesKey, QStringList()).toStringList();
    for (const QString &quantity : quantities) {
        if (known.contains(quantity))
            m_quantities.append(quantity);
    }
    showQuantities();
    formatChanged();
    connect(m_format, qOverload<int>(&QComboBox::currentIndexChanged), this, &TableChoices::formatChanged);
}

ExportFormat TableChoices::format() const
{
    return static_cast<ExportFormat>(m_format->currentData().toInt());
}

quint64 TableChoices::binWidth() const
{
    return static_cast<quint64>(stretchesMs[qMax(0, m_bins->currentIndex())]) * 1000;
}

bool TableChoices::allSensors() const
{
    return m_allSensors->isEnabled() && m_allSensors->isChecked();
}

void TableChoices::keep(const KeepSetting &keepSetting) const
{
    keepSetting(formatKey, exportFormatNames().at(int(format())));
    keepSetting(binKey, m_bins->currentIndex());
    keepSetting(quantitiesKey, m_quantities);
}

void TableChoices::chooseQuantities()
{
    QuantityDialog dialog(m_quantities, this);
    if (execNested(dialog) != QDialog::Accepted)
        return;
    m_quantities = dialog.chosen();
    if (m_quantities.size() == exportQuantities().size())
        m_quantities.clear();
    showQuantities();
}

void TableChoices::showQuantities()
{
    m_quantityButton->setText(
        m_quantities.isEmpty() ? tr("All quantities...")
                               : tr("%1 of %2 quantities...").arg(m_quantities.size()).arg(exportQuantities().size()));
}

void TableChoices::formatChanged()
{
    m_allSensors->setEnabled(m_others > 0 && !holdsOneSensor(format()));
    m_allSensors->setToolTip(m_others == 0              ? tr("The session has no other sensor")
                             : holdsOneSensor(format()) ? tr("Tables hold one sensor; a database holds all")
                                                        : tr("Into the same file, each with its whole range when the "
                                                             "whole recording is exported"));
}
