#include "display/records/runsearcher.h"

#include "display/records/runanalysis.h"
#include "display/records/storesource.h"

namespace {
constexpr int pollMs = 100;
}

RunSearcher::RunSearcher(const SessionRecords &records, QObject *parent)
    : QObject(parent), m_records(records), m_tasks(this)
{
    m_poll.setInterval(pollMs);
    connect(&m_poll, &QTimer::timeout, this, &RunSearcher::stateChanged);
}

const QVector<SessionRecords::Sensor> &RunSearcher::sensors()
{
    if (!m_found)
        return m_records.sensors();
    for (int i = 0; i < m_sensors.size(); ++i) {
        SessionRecords::Sensor &found = m_sensors[i];
        const int at = m_records.indexOf(found.view.serial);
        if (at < 0 || m_records.sensors().at(at).view.store != found.view.store) {
            found.view.on = false; // it left the session
            continue;
        }
        const SessionRecords::Sensor &now = m_records.sensors().at(at);
        found.view = now.view;
        if (now.records == m_linkedWith.at(i))
            continue;
        RecordSet set = *now.records;
        set.runs = found.records->runs;
        set.link();
        found.records = std::make_shared<const RecordSet>(std::move(set));
        m_linkedWith[i] = now.records;
    }
    return m_sensors;
}

void RunSearcher::start(double volts)
{
    m_tasks.cancel();
    if (!isRunning()) {
        m_textBefore = m_text;
        m_thresholdBefore = m_threshold;
    }
    QVector<SessionRecords::Sensor> sensors;
    int pieces = 0;
    for (const SessionRecords::Sensor &sensor : m_records.sensors()) {
        if (!sensor.view.on)
            continue;
        sensors.append(sensor);
        pieces += StoreSource(sensor.view.store).stretches().size();
    }
    m_threshold = volts;
    m_progress = std::make_shared<JobProgress>();
    m_progress->begin(tr("Searching"), pieces);
    m_text = tr("Searching for stretches at or above %1 V…").arg(volts, 0, 'f', 1);
    m_poll.start();
    emit stateChanged();
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
        [this](const Outcome &outcome) { finish(outcome); });
}

void RunSearcher::finish(const Outcome &outcome)
{
    m_poll.stop();
    m_progress.reset();
    m_found = true;
    m_sensors = outcome.sensors;
    m_linkedWith.fill(nullptr, m_sensors.size()); // events may have come meanwhile
    int stretches = 0;
    for (const SessionRecords::Sensor &sensor : outcome.sensors)
        stretches += sensor.records->runs.size();
    m_text = tr("%1 stretches at or above %2 V. They are not stored.").arg(stretches).arg(m_threshold, 0, 'f', 1);
    if (!outcome.complete)
        m_text += tr(" Some samples could not be read.");
    emit stateChanged();
    emit changed();
}

void RunSearcher::cancel()
{
    m_tasks.cancel();
    m_poll.stop();
    m_progress.reset();
    m_text = m_textBefore;
    m_threshold = m_thresholdBefore;
    emit stateChanged();
}

void RunSearcher::drop()
{
    m_found = false;
    m_text.clear();
    m_sensors.clear();
    m_linkedWith.clear();
    emit stateChanged();
    emit changed();
}
