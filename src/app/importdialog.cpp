#include "app/importdialog.h"

#include <QCheckBox>
#include <QDialogButtonBox>
#include <QFileInfo>
#include <QGridLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QScrollArea>
#include <QSet>

namespace {

constexpr int longestName = 100;

} // namespace

ImportDialog::ImportDialog(const QVector<Folder> &folders, const QStringList &known, QWidget *parent)
    : QDialog(parent), m_known(known)
{
    setObjectName(QStringLiteral("ImportDialog"));
    setWindowTitle(tr("Import Data"));
    auto *list = new QWidget;
    auto *grid = new QGridLayout(list);
    grid->addWidget(new QLabel(tr("Folder")), 0, 0);
    grid->addWidget(new QLabel(tr("Sensor")), 0, 1);
    grid->addWidget(new QLabel(tr("Chamber")), 0, 2);
    for (const Folder &folder : folders) {
        const QString suffix = m_rows.isEmpty() ? QString() : QString::number(m_rows.size());
        Row row;
        row.path = folder.path;
        row.take = new QCheckBox(QFileInfo(folder.path).fileName().replace(QLatin1Char('&'), QLatin1String("&&")));
        row.take->setChecked(true);
        row.take->setToolTip(folder.path.toHtmlEscaped());
        row.sensor = new QLineEdit(folder.sensor);
        row.sensor->setObjectName(QStringLiteral("sensor") + suffix);
        row.sensor->setAccessibleName(tr("Sensor name of %1").arg(folder.path));
        row.chamber = new QLineEdit(folder.chamber);
        row.chamber->setObjectName(QStringLiteral("chamber") + suffix);
        row.chamber->setAccessibleName(tr("Chamber name of %1").arg(folder.path));
        const int line = m_rows.size() + 1;
        grid->addWidget(row.take, line, 0);
        int column = 1;
        for (QLineEdit *edit : {row.sensor, row.chamber}) {
            edit->setMaxLength(longestName);
            edit->setCursorPosition(0); // the beginning of a long name is seen
            edit->setMinimumWidth(fontMetrics().averageCharWidth() * 22);
            grid->addWidget(edit, line, column++);
            connect(edit, &QLineEdit::textChanged, this, &ImportDialog::check);
        }
        connect(row.take, &QCheckBox::toggled, this, &ImportDialog::check);
        m_rows.append(row);
    }
    grid->setRowStretch(m_rows.size() + 1, 1);
    grid->setColumnStretch(1, 1);
    grid->setColumnStretch(2, 1);

    auto *area = new QScrollArea;
    area->setWidgetResizable(true);
    area->setFrameShape(QFrame::NoFrame);
    area->setWidget(list);
    auto *text = new QLabel(tr("The samples and events are copied into the open session. The source is only read, and "
                               "what the session has already is left out."));
    text->setWordWrap(true);
    m_reason = new QLabel;
    m_reason->setObjectName(QStringLiteral("lb_reason"));
    m_reason->setWordWrap(true);
    auto *buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel);
    m_ok = buttons->button(QDialogButtonBox::Ok);
    m_ok->setText(tr("Import"));
    connect(buttons, &QDialogButtonBox::accepted, this, &QDialog::accept);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    auto *layout = new QVBoxLayout(this);
    layout->addWidget(text);
    layout->addWidget(area, 1);
    layout->addWidget(m_reason);
    layout->addWidget(buttons);
    const QSize wanted = list->sizeHint();
    resize(wanted.width() + fontMetrics().averageCharWidth() * 8,
           qMin(wanted.height(), fontMetrics().height() * 24) + fontMetrics().height() * 11);
    check();
}

QVector<ImportDialog::Folder> ImportDialog::chosen() const
{
    QVector<Folder> folders;
    for (const Row &row : m_rows) {
        if (row.take->isChecked())
            folders.append({row.path, row.sensor->text().trimmed(), row.chamber->text().trimmed()});
    }
    return folders;
}

void ImportDialog::check()
{
    QString reason;
    QSet<QString> sensors;
    const QVector<Folder> folders = chosen();
    for (const Folder &folder : folders) {
        if (folder.sensor.isEmpty())
            reason = tr("Every folder needs the name of its sensor.");
        else if (sensors.contains(folder.sensor))
            reason = tr("Two folders have the sensor name %1.").arg(folder.sensor);
        sensors.insert(folder.sensor);
    }
    if (folders.isEmpty())
        reason = tr("No folder is chosen.");
    QStringList added;
    for (const Row &row : qAsConst(m_rows)) {
        const bool isKnown = m_known.contains(row.sensor->text().trimmed());
        row.chamber->setEnabled(row.take->isChecked() && !isKnown);
        row.sensor->setEnabled(row.take->isChecked());
        row.chamber->setToolTip(isKnown ? tr("A sensor of the session keeps its chamber.") : QString());
        if (isKnown && row.take->isChecked())
            added.append(row.sensor->text().trimmed());
    }
    const QString note = added.isEmpty() ? QString()
                                         : tr("In the session already: %1. What is missing there is added to it.")
                                               .arg(added.join(QLatin1String(", ")));
    m_reason->setText(reason.isEmpty() ? note : reason);
    m_ok->setEnabled(reason.isEmpty());
    m_ok->setToolTip(reason);
}
