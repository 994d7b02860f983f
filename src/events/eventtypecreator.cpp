#include "events/eventtypecreator.h"

#include "base/plaintip.h"
#include "base/prompts.h"
#include "events/swatch.h"
#include "ui_eventtypecreator.h"

#include <QColor>
#include <QEvent>
#include <QMenu>
#include <QPushButton>

eventTypeCreator::eventTypeCreator(eventTypeNames &dictionary, Prompts &prompts, QWidget *parent)
    : QDialog(parent), ui(std::make_unique<Ui::eventTypeCreator>()), m_dictionary(dictionary), m_prompts(prompts),
      m_before(dictionary.userTypes())
{
    ui->setupUi(this);
    setWindowFlag(Qt::WindowContextHelpButtonHint, false);
    ui->directionBox->addItem(tr("Superior"), int(eventType::Superior));
    ui->directionBox->addItem(tr("Inferior"), int(eventType::Inferior));
    ui->directionBox->addItem(tr("Either"), int(eventType::Either));
    ui->magnitudeEdit->setAccelerated(true);
    ui->hintLabel->setMinimumHeight(2 * fontMetrics().lineSpacing());
    ui->colorEdit->setMinimumWidth(fontMetrics().horizontalAdvance(ui->colorEdit->placeholderText()) +
                                   4 * fontMetrics().averageCharWidth());
    ui->eventList->setMinimumHeight(7 * fontMetrics().lineSpacing());
    fillColourMenu();
    ui->createButton->setDefault(true); // Enter in a field creates; it does not close the window

    connect(ui->createButton, &QPushButton::clicked, this, &eventTypeCreator::createNewEvent);
    connect(ui->deleteButton, &QPushButton::clicked, this, &eventTypeCreator::deleteEvent);
    connect(ui->buttonBox, &QDialogButtonBox::accepted, this, &eventTypeCreator::accept);
    connect(ui->buttonBox, &QDialogButtonBox::rejected, this, &eventTypeCreator::reject);
    connect(ui->eventList, &QListWidget::currentRowChanged, this, &eventTypeCreator::showSelection);
    for (const QLineEdit *edit : {ui->titleEdit, ui->durationEdit, ui->colorEdit})
        connect(edit, &QLineEdit::textChanged, this, &eventTypeCreator::showHint);
    connect(ui->magnitudeEdit, qOverload<double>(&QDoubleSpinBox::valueChanged), this, &eventTypeCreator::showHint);
    connect(ui->directionBox, qOverload<int>(&QComboBox::currentIndexChanged), this, &eventTypeCreator::showHint);
    connect(&dictionary, &eventTypeNames::dictionaryUpdated, this, &eventTypeCreator::showList);
    showList();
    resize(fontMetrics().averageCharWidth() * 70, sizeHint().height());
}

eventTypeCreator::~eventTypeCreator() = default;

void eventTypeCreator::fillColourMenu()
{
    auto *menu = new QMenu(ui->colorButton);
    for (const QString &colour : eventTypeNames::paletteColours()) {
        connect(menu->addAction(swatchIcon(*this, colour), colour), &QAction::triggered, ui->colorEdit,
                [this, colour] { ui->colorEdit->setText(colour); });
    }
    ui->colorButton->setMenu(menu);
}

eventType eventTypeCreator::typed() const
{
    eventType type;
    type.duration = ui->durationEdit->text().toInt(); // 0 for what is no number
    type.name = ui->titleEdit->text();
    if (type.name.isEmpty())
        type.name = m_dictionary.defaultName();
    type.magnitude = ui->magnitudeEdit->value();
    type.direction = ui->directionBox->currentData().toInt();
    return type;
}

QString eventTypeCreator::typedColour() const
{
    const QString text = ui->colorEdit->text().trimmed();
    const QColor colour(text);
    return text.isEmpty() || !colour.isValid() ? QString() : colour.name();
}

void eventTypeCreator::createNewEvent()
{
    QString error;
    const bool saved = m_dictionary.add(typed(), typedColour(), &error);
    ui->eventList->setCurrentRow(m_dictionary.userTypeCount() - 1);
    ui->titleEdit->clear();
    ui->titleEdit->setFocus();
    if (!saved)
        warnUnsaved(error);
}

void eventTypeCreator::deleteEvent()
{
    const int row = ui->eventList->currentRow();
    QString error;
    if (row >= 0 && !m_dictionary.remove(row, &error))
        warnUnsaved(error);
}

void eventTypeCreator::accept()
{
    QDialog::accept();
}

void eventTypeCreator::reject()
{
    QString error;
    if (m_dictionary.userTypes() != m_before && !m_dictionary.setUserTypes(m_before, &error))
        warnUnsaved(error);
    QDialog::reject();
}

void eventTypeCreator::warnUnsaved(const QString &reason)
{
    m_prompts.warn(this, tr("Warning"), tr("The event types could not be written to their file."),
                   {tr("%1\nThey are in use until the program ends.").arg(reason), QString()});
}

void eventTypeCreator::showList()
{
    const int row = ui->eventList->currentRow();
    ui->eventList->clear();
    for (const eventTypeNames::UserType &entry : m_dictionary.userTypes()) {
        auto *item = new QListWidgetItem(swatchIcon(*this, m_dictionary.shownColour(entry.colour, isOnDark(*this))),
                                         entry.type.description());
        item->setToolTip(plainTip(entry.type.description()));
        ui->eventList->addItem(item);
    }
    ui->eventList->setCurrentRow(qMin(row, ui->eventList->count() - 1));
    showSelection();
    showHint();
}

void eventTypeCreator::showSelection()
{
    const bool chosen = ui->eventList->currentRow() >= 0;
    ui->deleteButton->setEnabled(chosen);
    ui->deleteButton->setToolTip(chosen ? tr("Delete the chosen type") : tr("No event type is chosen."));
}

void eventTypeCreator::showHint()
{
    QStringList lines{typed().description()};
    bool isNumber = false;
    const int duration = ui->durationEdit->text().toInt(&isNumber);
    if (!ui->durationEdit->text().isEmpty() && (!isNumber || duration < 0))
        lines.append(tr("The duration is no whole number of microseconds; 0 is taken."));
    const QString colour = typedColour();
    if (colour.isEmpty() && !ui->colorEdit->text().trimmed().isEmpty())
        lines.append(tr("The colour is not known; the next of the palette is taken."));
    else if (!(ui->magnitudeEdit->value() > 0))
        lines.append(tr("An amplitude of 0 matches every event."));
    ui->hintLabel->setText(lines.join(QLatin1Char('\n')));
    ui->colorButton->setIcon(swatchIcon(*this, colour.isEmpty() ? m_dictionary.nextColour() : colour));
}

void eventTypeCreator::changeEvent(QEvent *event)
{
    QDialog::changeEvent(event);
    if (event->type() == QEvent::PaletteChange)
        showList();
}
