#include "display/views/eventfilterbox.h"

#include "display/look/theme.h"
#include "display/plot/eventicon.h"
#include "display/records/sessionrecords.h"
#include "events/eventfilter.h"
#include "events/eventfilterpanel.h"
#include "events/eventtypecreator.h"
#include "events/eventtypenames.h"
#include "session/appsettings.h"

#include <QToolButton>
#include <QVBoxLayout>

namespace {

const QString openKey = QStringLiteral("form/filterOpen");

} // namespace

EventFilterBox::EventFilterBox(const DisplayContext &context, const SessionRecords &records, QWidget *parent)
    : QWidget(parent), m_context(context), m_records(records)
{
    m_title = new QToolButton;
    m_title->setObjectName(QStringLiteral("b_eventFilter"));
    m_title->setCheckable(true);
    m_title->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
    m_title->setAutoRaise(true);
    m_title->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    m_title->setToolTip(tr("Which event types are shown and exported"));
    m_panel = new eventFilterPanel(m_context.filter, m_context.dictionary);
    m_panel->layout()->setContentsMargins(0, 0, 0, 0); // its names scroll by themselves
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(2);
    layout->addWidget(m_title);
    layout->addWidget(m_panel, 1);

    connect(m_title, &QToolButton::toggled, this, [this](bool open) {
        fold(open);
        showTitle();
        m_context.settings.setValue(openKey, open);
    });
    connect(&m_context.filter, &eventTypeFilter::newFilter, this, &EventFilterBox::showTitle);
    connect(&m_context.dictionary, &eventTypeNames::dictionaryUpdated, this, &EventFilterBox::showTitle);
    connect(&m_records, &SessionRecords::changed, this, &EventFilterBox::showCounts);
    connect(&m_records, &SessionRecords::activity, this, [this](const QString &text) {
        m_activity = text;
        m_panel->setActivity(text);
        showTitle();
    });
    connect(m_panel, &eventFilterPanel::typesRequested, this, &EventFilterBox::editTypes);
    m_panel->setIconSource(
        [this](const QString &name) { return eventIcon(name, m_context.theme, m_context.dictionary, *this); });
    const bool open = m_context.settings.value(openKey, false).toBool();
    m_title->setChecked(open);
    fold(open);
    showTitle();
}

void EventFilterBox::fold(bool open)
{
    m_panel->setVisible(open);
    showCounts();
    m_title->setArrowType(open ? Qt::DownArrow : Qt::RightArrow);
    setSizePolicy(QSizePolicy::Preferred, open ? QSizePolicy::Expanding : QSizePolicy::Fixed);
}

void EventFilterBox::showCounts()
{
    if (m_title->isChecked())
        m_panel->setCounts(m_records.counts());
}

void EventFilterBox::showTitle()
{
    if (!m_activity.isEmpty() && !m_title->isChecked())
        return m_title->setText(m_activity); // the panel with it is folded away
    const int hidden = m_context.filter.names().size() - m_context.filter.enabledNames().size();
    m_title->setText(hidden == 0 ? tr("Event filter: all shown") : tr("Event filter: %1 hidden").arg(hidden));
}

void EventFilterBox::editTypes()
{
    auto *dialog = new eventTypeCreator(m_context.dictionary, m_context.prompts, window());
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->open();
}
