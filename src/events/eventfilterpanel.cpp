#include "events/eventfilterpanel.h"

#include "base/plaintip.h"
#include "data/eventtypelist.h"
#include "events/eventtypenames.h"
#include "events/swatch.h"

#include <QCheckBox>
#include <QEvent>
#include <QLabel>
#include <QLocale>
#include <QPushButton>
#include <QScrollArea>
#include <QVBoxLayout>

eventFilterPanel::eventFilterPanel(eventTypeFilter &filter, const eventTypeNames &dictionary, QWidget *parent)
    : QWidget(parent), m_filter(filter), m_dictionary(dictionary)
{
    m_summary = new QLabel;
    m_summary->setObjectName(QStringLiteral("lb_summary"));
    m_summary->setWordWrap(true);
    m_activity = new QLabel;
    m_activity->setObjectName(QStringLiteral("lb_activity"));
    m_activity->hide();
    m_showAll = new QPushButton(tr("Show all"));
    m_showAll->setObjectName(QStringLiteral("b_showAll"));
    m_showNone = new QPushButton(tr("Show none"));
    m_showNone->setObjectName(QStringLiteral("b_showNone"));
    auto *types = new QPushButton(tr("Event types..."));
    types->setObjectName(QStringLiteral("b_types"));
    types->setToolTip(tr("Make and delete event types of your own"));
    connect(m_showAll, &QPushButton::clicked, this, &eventFilterPanel::showAll);
    connect(m_showNone, &QPushButton::clicked, this, &eventFilterPanel::showNone);
    connect(types, &QPushButton::clicked, this, &eventFilterPanel::typesRequested);

    auto *buttons = new QHBoxLayout;
    buttons->addWidget(m_showAll);
    buttons->addWidget(m_showNone);
    auto *scroll = new QScrollArea;
    scroll->setObjectName(QStringLiteral("sa_names"));
    scroll->setWidgetResizable(true);
    scroll->setFrameShape(QFrame::NoFrame);
    scroll->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    auto *inner = new QWidget;
    m_outer = new QVBoxLayout(inner);
    m_outer->setContentsMargins(0, 0, fontMetrics().averageCharWidth(), 0);
    m_outer->addStretch();
    scroll->setWidget(inner);

    auto *layout = new QVBoxLayout(this);
    layout->addWidget(m_summary);
    layout->addLayout(buttons);
    layout->addWidget(scroll, 1);
    layout->addWidget(m_activity);
    layout->addWidget(types);

    connect(&filter, &eventTypeFilter::newFilter, this, &eventFilterPanel::showFilter);
    // After the filter, which forgets the names that are gone.
    connect(&dictionary, &eventTypeNames::dictionaryUpdated, this, &eventFilterPanel::rebuild, Qt::QueuedConnection);
    rebuild();
}

void eventFilterPanel::rebuild()
{
    delete m_names;
    m_rows.clear();
    m_names = new QWidget;
    auto *column = new QVBoxLayout(m_names);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(fontMetrics().lineSpacing() / 4);
    QStringList names = m_dictionary.names();
    names.removeDuplicates(); // types of the same name are shown and hidden together
    for (const QString &name : qAsConst(names)) {
        if (m_rows.size() == eventtype::builtInCount) {
            auto *heading = new QLabel(tr("Your event types"));
            heading->setContentsMargins(0, fontMetrics().lineSpacing() / 2, 0, 0);
            heading->setEnabled(false);
            column->addWidget(heading);
        }
        addRow(column, name);
    }
    m_outer->insertWidget(0, m_names);
    showIcons();
    showFilter();
    showCounts();
}

void eventFilterPanel::addRow(QVBoxLayout *column, const QString &name)
{
    Row row{name, new QCheckBox(QString(name).replace(QLatin1Char('&'), QLatin1String("&&"))), new QLabel};
    row.box->setObjectName(QStringLiteral("cb_") + name);
    row.box->setAccessibleName(name);
    row.box->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Fixed);
    row.box->setToolTip(plainTip(name));
    row.count->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
    connect(row.box, &QCheckBox::toggled, this, [this, name](bool on) { m_filter.setEnabled(name, on); });
    auto *line = new QHBoxLayout;
    line->addWidget(row.box, 1);
    line->addWidget(row.count);
    column->addLayout(line);
    m_rows.append(row);
}

void eventFilterPanel::showFilter()
{
    bool any = false;
    bool all = true;
    for (const Row &row : qAsConst(m_rows)) {
        const bool on = m_filter.isEnabled(row.name);
        const QSignalBlocker quiet(row.box);
        row.box->setChecked(on);
        any = any || on;
        all = all && on;
    }
    m_showAll->setEnabled(!all);
    m_showAll->setToolTip(all ? tr("Every event type is shown.") : tr("Show every event type"));
    m_showNone->setEnabled(any);
    m_showNone->setToolTip(any ? tr("Hide every event type") : tr("No event type is shown."));
    showCounts();
}

void eventFilterPanel::setCounts(const QHash<QString, int> &counts)
{
    m_counts = counts;
    showCounts();
}

void eventFilterPanel::showCounts()
{
    qint64 total = 0;
    qint64 hidden = 0;
    for (const Row &row : qAsConst(m_rows)) {
        const int count = m_counts.value(row.name);
        row.count->setText(count == 0 ? QStringLiteral("–") : QLocale::system().toString(count));
        row.count->setEnabled(count > 0);
        if (row.name == eventtype::name(eventtype::RfOn))
            continue; // runs, no events
        total += count;
        hidden += m_filter.isEnabled(row.name) ? 0 : count;
    }
    const QLocale locale = QLocale::system();
    m_summary->setText(total == 0 ? tr("No events yet")
                       : hidden == 0
                           ? tr("%1 events").arg(locale.toString(total))
                           : tr("%1 of %2 events shown").arg(locale.toString(total - hidden), locale.toString(total)));
}

void eventFilterPanel::setIconSource(std::function<QIcon(const QString &)> source)
{
    m_iconSource = std::move(source);
    showIcons();
}

void eventFilterPanel::showIcons()
{
    const bool dark = isOnDark(*this);
    for (const Row &row : qAsConst(m_rows)) {
        row.box->setIcon(m_iconSource ? m_iconSource(row.name)
                                      : swatchIcon(*this, dark ? m_dictionary.lightColour(row.name)
                                                               : m_dictionary.colour(row.name)));
    }
}

void eventFilterPanel::setActivity(const QString &text)
{
    m_activity->setText(text);
    m_activity->setVisible(!text.isEmpty());
}

void eventFilterPanel::showAll()
{
    m_filter.setAllEnabled(true);
}

void eventFilterPanel::showNone()
{
    m_filter.setAllEnabled(false);
}

void eventFilterPanel::changeEvent(QEvent *event)
{
    QWidget::changeEvent(event);
    if (event->type() == QEvent::PaletteChange)
        showIcons();
}
