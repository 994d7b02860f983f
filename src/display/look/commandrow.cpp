#include "display/look/commandrow.h"

#include <QAbstractButton>
#include <QAction>
#include <QEvent>
#include <QMenu>
#include <QPushButton>

#include <algorithm>

namespace {

constexpr int spacing = 6;

QAbstractButton *asButton(QWidget *widget)
{
    return qobject_cast<QAbstractButton *>(widget);
}

QSize sizeOf(const QWidget *widget)
{
    return widget->sizeHint().boundedTo(widget->maximumSize()).expandedTo(widget->minimumSize());
}

} // namespace

CommandRow::CommandRow(QWidget *parent) : QWidget(parent), m_more(new QPushButton(this))
{
    m_more->setObjectName(QStringLiteral("b_moreCommands"));
    m_more->setText(tr("More"));
    m_more->setToolTip(tr("The commands for which the window is too narrow"));
    m_more->setMenu(new QMenu(m_more));
    m_more->menu()->setToolTipsVisible(true);
    m_more->hide();
    setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Fixed);
    connect(m_more->menu(), &QMenu::aboutToShow, this, &CommandRow::fillMenu);
}

void CommandRow::addWidget(QWidget *widget)
{
    const bool hidden = widget->testAttribute(Qt::WA_WState_ExplicitShowHide) && widget->isHidden();
    widget->setParent(this);
    widget->setVisible(!hidden);
    m_widgets.append(widget);
    m_more->raise();
    setTabOrder(widget, m_more);
    updateGeometry();
}

/// Hidden by its owner, not for want of room.
bool CommandRow::isWanted(const QWidget *widget) const
{
    return !widget->isHidden() ||
           std::any_of(m_inMenu.begin(), m_inMenu.end(), [widget](const QWidget *button) { return button == widget; });
}

int CommandRow::widthOf(bool buttons) const
{
    int width = 0;
    for (QWidget *widget : m_widgets) {
        if (isWanted(widget) && (asButton(widget) != nullptr) == buttons)
            width += sizeOf(widget).width() + spacing;
    }
    return width;
}

int CommandRow::heightOfRow() const
{
    int height = m_more->sizeHint().height();
    for (const QWidget *widget : m_widgets)
        height = std::max(height, sizeOf(widget).height());
    return height;
}

QSize CommandRow::sizeHint() const
{
    return {widthOf(true) + widthOf(false), heightOfRow()};
}

QSize CommandRow::minimumSizeHint() const
{
    return {widthOf(false) + m_more->sizeHint().width(), heightOfRow()};
}

void CommandRow::resizeEvent(QResizeEvent *event)
{
    QWidget::resizeEvent(event);
    arrange();
}

bool CommandRow::event(QEvent *event)
{
    if (event->type() == QEvent::LayoutRequest || event->type() == QEvent::Show) {
        updateGeometry();
        arrange();
    }
    return QWidget::event(event);
}

void CommandRow::arrange()
{
    const bool fits = widthOf(true) + widthOf(false) - spacing <= width();
    int room = width() - widthOf(false) - (fits ? -spacing : m_more->sizeHint().width());
    QVector<QAbstractButton *> inMenu;
    QVector<QWidget *> shown;
    for (QWidget *widget : qAsConst(m_widgets)) {
        if (!isWanted(widget))
            continue;
        QAbstractButton *const button = asButton(widget);
        if (button)
            room -= sizeOf(button).width() + spacing;
        if (button && (room < 0 || !inMenu.isEmpty()))
            inMenu.append(button);
        else
            shown.append(widget);
    }
    const QVector<QAbstractButton *> before = m_inMenu;
    m_inMenu = inMenu;
    for (QAbstractButton *button : before)
        button->setVisible(!inMenu.contains(button));
    for (QAbstractButton *button : qAsConst(inMenu))
        button->hide();
    if (m_more->isHidden() != inMenu.isEmpty())
        m_more->setVisible(!inMenu.isEmpty());
    int x = 0;
    const auto place = [this, &x](QWidget *widget) {
        const QSize size = sizeOf(widget);
        widget->setGeometry(x, (height() - size.height()) / 2, size.width(), size.height());
        x += size.width() + spacing;
    };
    for (QWidget *widget : qAsConst(shown))
        place(widget);
    place(m_more);
}

void CommandRow::fillMenu()
{
    QMenu *const menu = m_more->menu();
    menu->clear();
    for (QAbstractButton *button : qAsConst(m_inMenu)) {
        QAction *const action = menu->addAction(button->text(), button, &QAbstractButton::click);
        action->setToolTip(button->toolTip());
        action->setEnabled(button->isEnabled());
    }
}
