#include "display/plot/plottoolbar.h"

#include "data/valuetype.h"
#include "display/look/flowlayout.h"

#include <QButtonGroup>
#include <QComboBox>
#include <QEvent>
#include <QHBoxLayout>
#include <QToolButton>

namespace {
constexpr quint64 second = 1000000;

QWidget *group(std::initializer_list<QWidget *> widgets)
{
    auto *box = new QWidget;
    auto *layout = new QHBoxLayout(box);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(2);
    for (QWidget *widget : widgets)
        layout->addWidget(widget);
    return box;
}
/// A pressed look alone is hardly seen in the dark theme.
void showChecked(QAbstractButton *button, bool checked)
{
    button->setChecked(checked);
    QPalette colours;
    if (checked && button->isEnabled()) {
        colours = button->parentWidget()->palette();
        colours.setColor(QPalette::Button, colours.color(QPalette::Highlight));
        colours.setColor(QPalette::ButtonText, colours.color(QPalette::HighlightedText));
    }
    if (button->palette() != colours)
        button->setPalette(colours);
}
} // namespace

const std::vector<PlotToolBar::Preset> &PlotToolBar::presets()
{
    static const std::vector<Preset> list{{"30 s", 30 * second},
                                          {"5 min", 300 * second},
                                          {"1 h", 3600 * second},
                                          {"12 h", 12 * 3600 * second},
                                          {"All", 0}};
    return list;
}

PlotToolBar::PlotToolBar(QWidget *parent) : QWidget(parent), m_spans(new QButtonGroup(this))
{
    auto *layout = new FlowLayout(this, 6);
    layout->setContentsMargins(4, 4, 4, 4);
    QSizePolicy policy(QSizePolicy::Preferred, QSizePolicy::Minimum);
    policy.setHeightForWidth(true);
    setSizePolicy(policy);

    for (int axis = 0; axis < 2; ++axis)
        m_quantities[axis] = quantityBox(axis == 1);
    layout->addWidget(m_quantities[0]); // each on the side of its axis
    m_back = button(QStringLiteral("◀"), tr("Back to the view before (Alt+Left)"), "zoomBack");
    m_forward = button(QStringLiteral("▶"), tr("Forward again (Alt+Right)"), "zoomForward");
    m_zoomByDrag = button(QStringLiteral("⬚"),
                          tr("Dragging draws a box to zoom into; otherwise it moves the view.\n"
                             "Shift or the right button does the other one."),
                          "zoomByDrag");
    m_zoomByDrag->setCheckable(true);
    m_zoomByDrag->setAccessibleName(tr("Zoom by dragging a box"));
    layout->addWidget(group({m_back, m_forward, m_zoomByDrag}));
    connect(m_back, &QToolButton::clicked, this, &PlotToolBar::backChosen);
    connect(m_forward, &QToolButton::clicked, this, &PlotToolBar::forwardChosen);
    connect(m_zoomByDrag, &QToolButton::toggled, this, &PlotToolBar::zoomByDragChosen);

    auto *spans = group({});
    m_spans->setExclusive(true);
    for (std::size_t i = 0; i < presets().size(); ++i) {
        const QString text = tr(presets()[i].text);
        QToolButton *preset =
            button(text, presets()[i].span ? tr("Follow the last %1").arg(text) : tr("Show everything (Home)"), "span");
        preset->setObjectName(QStringLiteral("span%1").arg(i));
        preset->setCheckable(true);
        m_spans->addButton(preset, int(i));
        spans->layout()->addWidget(preset);
        connect(preset, &QToolButton::clicked, this, [this, i] { emit spanChosen(presets()[i].span); });
    }
    layout->addWidget(spans);
    m_spanBox = spans;

    m_follow = button(QString(),
                      tr("Follow the newest sample, or hold the view (Space).\n"
                         "Recording goes on either way."),
                      "followButton");
    m_follow->setCheckable(true);
    connect(m_follow, &QToolButton::clicked, this, &PlotToolBar::followChosen);
    layout->addWidget(m_follow);

    m_timeMode = new QComboBox;
    m_timeMode->setObjectName(QStringLiteral("timeMode"));
    m_timeMode->setAccessibleName(tr("Time shown as"));
    m_timeMode->setToolTip(tr("How times are shown, everywhere in the program"));
    m_timeMode->addItem(QStringLiteral("UTC"), int(TimeMode::Utc));
    m_timeMode->addItem(tr("Local"), int(TimeMode::Local));
    m_timeMode->addItem(tr("Elapsed"), int(TimeMode::Elapsed));
    connect(m_timeMode, QOverload<int>::of(&QComboBox::activated), this,
            [this](int index) { emit timeModeChosen(TimeMode(m_timeMode->itemData(index).toInt())); });
    layout->addWidget(m_timeMode);
    layout->addWidget(m_quantities[1]);
    layout->setAlignment(m_quantities[1], Qt::AlignRight);
    fitFollowButton();
}

void PlotToolBar::setLive(bool live)
{
    for (QWidget *tool : {m_spanBox, static_cast<QWidget *>(m_follow), static_cast<QWidget *>(m_timeMode)})
        tool->setVisible(live);
}

QComboBox *PlotToolBar::quantityBox(bool right)
{
    auto *box = new QComboBox;
    box->setObjectName(right ? QStringLiteral("rightQuantity") : QStringLiteral("leftQuantity"));
    box->setAccessibleName(right ? tr("Quantity of the right axis") : tr("Quantity of the left axis"));
    box->setToolTip(box->accessibleName());
    box->setSizeAdjustPolicy(QComboBox::AdjustToMinimumContentsLengthWithIcon);
    box->setIconSize(QSize(0, 0)); // there is none to keep room for
    box->setMinimumContentsLength(8);
    if (right) {
        box->addItem(tr("(no right axis)"), PlotModel::noQuantity);
        const int letter = box->fontMetrics().horizontalAdvance(QLatin1Char('X')); // what lengths are counted in
        box->setMinimumContentsLength(qMax(8, box->fontMetrics().horizontalAdvance(box->itemText(0)) / letter + 1));
    }
    for (int quantity = 0; quantity < valueTypeCount; ++quantity)
        box->addItem(PlotModel::quantityName(quantity), quantity);
    connect(box, QOverload<int>::of(&QComboBox::activated), this, &PlotToolBar::chooseQuantities);
    return box;
}

QToolButton *PlotToolBar::button(const QString &text, const QString &tip, const char *name)
{
    auto *result = new QToolButton;
    result->setObjectName(QLatin1String(name));
    result->setText(text);
    result->setToolTip(tip);
    result->setAccessibleName(tip.section(QLatin1Char('\n'), 0, 0));
    return result;
}

void PlotToolBar::chooseQuantities()
{
    emit quantitiesChosen(m_quantities[0]->currentData().toInt(), m_quantities[1]->currentData().toInt());
}

void PlotToolBar::fitFollowButton()
{
    // As wide as its longest words, so that nothing beside it moves.
    const int words = m_follow->fontMetrics().horizontalAdvance(tr("Paused, 59 min behind - Follow (L)"));
    m_follow->setFixedWidth(words + m_follow->fontMetrics().averageCharWidth());
}

void PlotToolBar::changeEvent(QEvent *event)
{
    QWidget::changeEvent(event);
    if (event->type() == QEvent::FontChange)
        fitFollowButton();
}

void PlotToolBar::show(const PlotModel &model)
{
    for (int axis = 0; axis < 2; ++axis)
        m_quantities[axis]->setCurrentIndex(m_quantities[axis]->findData(model.quantities[axis]));
    m_back->setEnabled(model.view.canGoBack());
    m_forward->setEnabled(model.view.canGoForward());
    // A paused view belongs to no preset.
    m_spans->setExclusive(false);
    for (QAbstractButton *preset : m_spans->buttons())
        showChecked(preset,
                    model.view.isFollowing() && presets()[std::size_t(m_spans->id(preset))].span == model.view.span());
    m_spans->setExclusive(true);
    const QString status = model.view.statusText();
    if (m_follow->text() != status)
        m_follow->setText(status);
    m_follow->setEnabled(!model.view.data().isEmpty());
    showChecked(m_follow, model.view.isFollowing());
    m_timeMode->setCurrentIndex(m_timeMode->findData(int(model.timeAxis.mode())));
}
