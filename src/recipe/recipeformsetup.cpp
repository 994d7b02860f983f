// How the recipe editor's window is put together: controls, buttons, keys, sizes.

#include "base/inks.h"
#include "base/log.h"
#include "recipe/recipeform.h"
#include "recipe/stepcontrols.h"
#include "recipe/steptable.h"
#include "ui_recipeform.h"

#include <QDataStream>
#include <QEvent>
#include <QScreen>
#include <QShortcut>

namespace {

constexpr int draftDelayMs = 1000;

} // namespace

RecipeForm::RecipeForm(Prompts &prompts, const Places &places, QWidget *parent)
    : QDialog(parent), ui(std::make_unique<Ui::RecipeForm>()), m_prompts(prompts), m_places(places),
      m_drafts(places.drafts)
{
    logDebug(QStringLiteral("RecipeForm: initializing UI"));
    ui->setupUi(this);
    setWindowFlag(Qt::WindowContextHelpButtonHint, false);
    setWindowFlag(Qt::WindowMaximizeButtonHint);
    ui->tw_steps->setVerticalHeader(new StepHeader(ui->tw_steps));
    steptable::setColumnLabels(*ui->tw_steps);
    m_controls = new StepControls(this);
    connectControls();
    connectButtons();
    addShortcuts();

    Recipe defaults;
    defaults.initDefault(1);
    showStep(defaults, 0);
    m_newStep = defaults;
    setEdited(-1);
    showRecipe(-1);

    m_draftTimer.setSingleShot(true);
    m_draftTimer.setInterval(draftDelayMs);
    connect(&m_draftTimer, &QTimer::timeout, this, &RecipeForm::writeDraft);
    connect(ui->b_draftRestore, &QPushButton::clicked, this, &RecipeForm::restoreDraft);
    connect(ui->b_draftDiscard, &QPushButton::clicked, this, &RecipeForm::discardDraft);
    offerDraft();
    layOut();
}

RecipeForm::~RecipeForm() = default;

/// Opens what a button does when it goes down. A box that comes up then takes the release, so the button is put back.
void RecipeForm::onPressed(QPushButton *button, Slot slot)
{
    const QPointer<QPushButton> kept = button;
    connect(button, &QPushButton::pressed, this, [this, kept, slot] {
        (this->*slot)();
        if (kept)
            kept->setDown(false);
    });
}

void RecipeForm::connectButtons()
{
    onPressed(ui->b_loadFile, &RecipeForm::loadFile);
    onPressed(ui->b_saveFile, &RecipeForm::saveFile);
    onPressed(ui->b_close, &RecipeForm::closeWindow);
    onPressed(ui->b_stepAdd, &RecipeForm::stepAdd);
    onPressed(ui->b_stepEdit, &RecipeForm::stepEdit);
    onPressed(ui->b_stepEditConfirm, &RecipeForm::stepEditConfirm);
    onPressed(ui->b_stepEditCancel, &RecipeForm::stepEditCancel);
    onPressed(ui->b_stepDelete, &RecipeForm::stepDelete);
    onPressed(ui->b_stepMoveUp, &RecipeForm::stepMoveUp);
    onPressed(ui->b_stepMoveDown, &RecipeForm::stepMoveDown);
    onPressed(ui->b_undo, &RecipeForm::undo);
    onPressed(ui->b_redo, &RecipeForm::redo);
}

void RecipeForm::connectControls()
{
    connect(ui->cb_pulseEnabled, &QCheckBox::clicked, this, &RecipeForm::pulsedChecked);
    connect(ui->cb_snapshotEnabled, &QCheckBox::clicked, this, &RecipeForm::snapshotChecked);
    connect(ui->sb_threshold, qOverload<int>(&QSpinBox::valueChanged), this,
            &RecipeForm::multilevelPulseThresholdChange);
    for (const QSpinBox *box : {ui->sb_pulseFrequency, ui->sb_pulseDutyCycle, ui->sb_pulsePeriodEm,
                                ui->sb_pulseDutyCycleEm, ui->sb_pulseFilterLength})
        connect(box, qOverload<int>(&QSpinBox::valueChanged), this, &RecipeForm::microSecondSpinBoxValueChange);
    connect(m_controls, &StepControls::changed, this, [this] {
        m_stepTouched = true;
        changed();
    });
    connect(ui->le_recipeName, &QLineEdit::textChanged, this, [this](const QString &name) {
        if (m_showing)
            return;
        m_editor.setName(name);
        changed();
    });
    ui->le_recipeName->installEventFilter(m_controls);
    connect(ui->timeline, &RecipeTimeline::stepClicked, this,
            [this](int step) { ui->tw_steps->setCurrentCell(step, qMax(0, ui->tw_steps->currentColumn())); });
    connect(ui->tw_steps, &QTableWidget::currentCellChanged, this, [this](int row) {
        if (m_showing)
            return;
        ui->timeline->setCurrentStep(row);
        showState();
    });
    connect(ui->tw_steps, &QTableWidget::cellDoubleClicked, this, &RecipeForm::stepEdit);
}

void RecipeForm::addShortcuts()
{
    const auto add = [this](const QKeySequence &keys, Slot slot) {
        auto *shortcut = new QShortcut(keys, this);
        connect(shortcut, &QShortcut::activated, this, slot);
    };
    add(QKeySequence::Open, &RecipeForm::loadFile);
    add(QKeySequence::Save, &RecipeForm::saveFile);
    add(QKeySequence::Undo, &RecipeForm::undo);
    for (const QKeySequence &keys :
         {QKeySequence(Qt::CTRL + Qt::Key_Y), QKeySequence(Qt::CTRL + Qt::SHIFT + Qt::Key_Z)})
        add(keys, &RecipeForm::redo);
    add(Qt::Key_F2, &RecipeForm::stepEdit);
    add(Qt::ALT + Qt::Key_Up, &RecipeForm::stepMoveUp);
    add(Qt::ALT + Qt::Key_Down, &RecipeForm::stepMoveDown);
    for (const int key : {Qt::Key_Return, Qt::Key_Enter}) {
        auto *enter = new QShortcut(QKeySequence(Qt::CTRL + key), this);
        connect(enter, &QShortcut::activated, this, [this] { m_edited >= 0 ? stepEditConfirm() : stepAdd(); });
    }
    // Delete means the step only where the steps are; in a field it is a letter.
    auto *remove = new QShortcut(QKeySequence(QKeySequence::Delete), ui->tw_steps);
    remove->setContext(Qt::WidgetWithChildrenShortcut);
    connect(remove, &QShortcut::activated, this, &RecipeForm::stepDelete);
}

void RecipeForm::layOut()
{
    const QFontMetrics metrics = fontMetrics();
    const int letter = metrics.averageCharWidth();
    const int line = metrics.lineSpacing();
    QFont bold = font();
    bold.setBold(true);
    ui->lb_editorTitle->setFont(bold);
    ui->le_recipeName->setMinimumWidth(40 * letter);
    // Room for the longest text, so that nothing moves while a number changes.
    const int indicator = metrics.horizontalAdvance(QStringLiteral("µs (88.8888~88.8888) "));
    for (QLabel *label : {ui->lb_pulseFrequency, ui->lb_pulseDutyCycle, ui->lb_pulsePeriodEm, ui->lb_pulseDutyCycleEm})
        label->setMinimumWidth(indicator);
    ui->lb_threshold->setMinimumWidth(ui->lb_threshold->sizeHint().width());
    ui->le_thresholdVolts->setMaximumWidth(metrics.horizontalAdvance(QStringLiteral("10000 V")) + 3 * letter);
    for (int column = 0; column < 3; ++column)
        ui->groupRow->setStretch(column, 1);
    ui->titleRow->setStretch(2, 1);
    ui->titleRow->setSpacing(2 * letter);
    ui->tw_steps->setMinimumHeight(6 * line);
    ui->tw_steps->horizontalHeader()->setHighlightSections(false);
    ui->tw_steps->verticalHeader()->setDefaultSectionSize(line * 3 / 2);
    QHeaderView *header = ui->tw_steps->horizontalHeader();
    for (int column = 1; column < ui->tw_steps->columnCount(); ++column)
        header->setSectionResizeMode(column, QHeaderView::ResizeToContents);
    header->resizeSection(0, 18 * letter);
    header->setStretchLastSection(true);
    ui->splitter->setStretchFactor(0, 1);
    ui->splitter->setStretchFactor(1, 0);
    const int editor = ui->editorContents->sizeHint().height() + 5 * line; // and some broken rules
    ui->splitter->setSizes({12 * line, editor});
    ui->sa_editor->setMinimumHeight(qMin(editor, 8 * line));
    ui->sa_editor->setMinimumWidth(ui->editorContents->sizeHint().width() + 3 * letter);
    auto *corner = new QFrame; // between the scroll bars, where the sheet would paint the table's white
    corner->setAutoFillBackground(true);
    ui->tw_steps->setCornerWidget(corner);
    showInks();

    QSize size(150 * letter, sizeHint().height() + 4 * line);
    if (const QScreen *place = screen())
        size = size.boundedTo(place->availableSize() * 0.95);
    resize(size);
}

/// Controls know their widths only when the style has been at them.
void RecipeForm::fitWidth()
{
    const int bar = style()->pixelMetric(QStyle::PM_ScrollBarExtent);
    const int editor = ui->editorContents->sizeHint().width() + bar + 2 * ui->sa_editor->frameWidth();
    const int table = ui->tw_steps->horizontalHeader()->sectionPosition(ui->tw_steps->columnCount() - 1) +
                      ui->tw_steps->horizontalHeader()->sectionSizeHint(ui->tw_steps->columnCount() - 1) +
                      10 * fontMetrics().horizontalAdvance(QLatin1Char('0')) + bar + 2 * ui->tw_steps->frameWidth();
    const int margins = width() - ui->splitter->width();
    int wanted = qMax(editor, table) + margins;
    if (const QScreen *place = screen())
        wanted = qMin(wanted, place->availableSize().width() * 95 / 100);
    ui->sa_editor->setMinimumWidth(qMin(editor, wanted - margins));
    if (!m_fitted && width() < wanted)
        resize(wanted, height());
    m_fitted = true;
}

void RecipeForm::showEvent(QShowEvent *event)
{
    QDialog::showEvent(event);
    fitWidth();
}

QByteArray RecipeForm::windowState() const
{
    QByteArray state;
    QDataStream stream(&state, QIODevice::WriteOnly);
    stream << saveGeometry() << ui->splitter->saveState();
    return state;
}

void RecipeForm::restoreWindow(const QByteArray &state)
{
    QByteArray geometry;
    QByteArray splitter;
    QDataStream stream(state);
    stream >> geometry >> splitter;
    m_fitted = restoreGeometry(geometry);
    ui->splitter->restoreState(splitter);
}

void RecipeForm::showInks()
{
    QPalette warning;
    warning.setColor(QPalette::WindowText, inks::bad(palette()));
    for (QLabel *label : {ui->lb_ruleStep, ui->lb_ruleLevels, ui->lb_ruleSnapshots, ui->lb_rulePulse, ui->lb_ruleRecipe,
                          ui->lb_ruleCount})
        label->setPalette(warning);
    QPalette note;
    note.setColor(QPalette::WindowText, inks::warning(palette()));
    ui->lb_editorNote->setPalette(note);
}

void RecipeForm::changeEvent(QEvent *event)
{
    QDialog::changeEvent(event);
    if (event->type() == QEvent::PaletteChange && m_controls)
        showInks();
}
