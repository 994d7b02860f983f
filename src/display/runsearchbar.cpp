#include "display/runsearchbar.h"

#include "display/runanalysis.h"
#include "display/storesource.h"

#include <QDoubleSpinBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QProgressBar>
#include <QPushButton>
#include <QVBoxLayout>

namespace {
constexpr int pollMs = 100;
constexpr double usualThreshold = 200.0;
} // namespace

RunSearchBar::RunSearchBar(const SessionRecords &records, QWidget *parent)
    : QWidget(parent), m_records(records), m_threshold(new QDoubleSpinBox),
      m_search(new QPushButton(tr("Search Again"))), m_cancel(new QPushButton(tr("Cancel"))),
      m_drop(new QPushButton(tr("Stored Runs"))), m_bar(new QProgressBar), m_text(new QLabel), m_tasks(this)
{
    m_threshold->setRange(-100000, 100000);
    m_threshold->setDecimals(1);
    m_threshold->setSuffix(QStringLiteral(" V"));
    m_threshold->setValue(usualThreshold);
    m_threshold->setAccessibleName(tr("RF-ON threshold"));
    m_threshold->setObjectName(QStringLiteral("rfonThreshold"));
    m_search->setObjectName(QStringLiteral("b_searchRuns"));
    m_search->setToolTip(tr("Find the stretches whose voltage is at or above this threshold.\n"
                            "The stored runs stay as they are."));
    m_cancel->setObjectName(QStringLiteral("b_cancelSearch"));
    m_drop->setObjectName(QStringLiteral("b_storedRuns"));
    m_text->setWordWrap(true);
    auto *outer = new QVBoxLayout(this);
    outer->setContentsMargins(0, 0, 0, 0);
    outer->addWidget(m_text);
    auto *row = new QHBoxLayout;
    row->addWidget(new QLabel(tr("RF-ON threshold")));
    row->addWidget(m_threshold);
    row->addWidget(m_search);
    row->addWidget(m_bar, 1);
    row->addWidget(m_cancel);
    row->addWidget(m_drop);
    row->addStretch();
    outer->addLayout(row);
    connect(m_search, &QPushButton::clicked, this, &RunSearchBar::start);
    connect(m_cancel, &QPushButton::clicked, this, &RunSearchBar::cancel);
    connect(m_drop, &QPushButton::clicked, this, [this] {
        showState(QString(), false, false);
        emit dropped();
    });
    m_poll.setInterval(pollMs);
    connect(&m_poll, &QTimer::timeout, this, [this] {
        m_bar->setMaximum(int(m_progress->total()));
        m_bar->setValue(int(m_progress->done()));
    });
    showState(QString(), false, false);
}

double RunSearchBar::threshold() const
{
    return m_threshold->value();
}

void RunSearchBar::setThreshold(double volts)
{
    m_threshold->setValue(volts);
}

void RunSearchBar::showState(const QString &text, bool running, bool canDrop)
{
    m_text->setText(text);
    m_text->setVisible(!text.isEmpty());
    m_threshold->setEnabled(!running);
    m_search->setVisible(!running);
    m_bar->setVisible(running);
    m_cancel->setVisible(running);
    m_drop->setVisible(canDrop);
}

void RunSearchBar::start()
{
    if (isRunning())
        return;
    QVector<SessionRecords::Sensor> sensors;
    int pieces = 0;
    for (const SessionRecords::Sensor &sensor : m_records.sensors()) {
        if (!sensor.view.on)
            continue;
        sensors.append(sensor);
        pieces += StoreSource(sensor.view.store).stretches().size();
    }
    m_progress = std::make_shared<JobProgress>();
    m_progress->begin(tr("Searching"), pieces);
    m_bar->setMaximum(pieces);
    m_bar->setValue(0);
    const double volts = threshold();
    showState(tr("Searching for stretches at or above %1 V…").arg(volts, 0, 'f', 1), true, false);
    m_poll.start();
    m_tasks.start(
        [sensors, volts, job = m_progress](const std::atomic<bool> &cancelled) {
            Outcome outcome{sensors, true};
            for (SessionRecords::Sensor &sensor : outcome.sensors) {
                if (cancelled)
                    break;
                SearchResult result = searchAgain(
                    StoreSource(sensor.view.store), *sensor.records, volts, [&job] { job->advance(); }, cancelled);
                outcome.complete = outcome.complete && result.complete;
                sensor.records = std::make_shared<const RecordSet>(std::move(result.records));
            }
            return outcome;
        },
        [this, volts](const Outcome &outcome) { finish(outcome, volts); });
}

void RunSearchBar::finish(const Outcome &outcome, double volts)
{
    m_poll.stop();
    m_progress.reset();
    int stretches = 0;
    for (const SessionRecords::Sensor &sensor : outcome.sensors)
        stretches += sensor.records->runs.size();
    QString text = tr("%1 stretches at or above %2 V. They are not stored.").arg(stretches).arg(volts, 0, 'f', 1);
    if (!outcome.complete)
        text += tr(" Some samples could not be read.");
    showState(text, false, true);
    emit found(outcome.sensors);
}

void RunSearchBar::cancel()
{
    m_tasks.cancel();
    m_poll.stop();
    m_progress.reset();
    showState(QString(), false, false);
    emit dropped();
}
