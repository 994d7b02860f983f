#include "display/sensors/sensorcardpresenter.h"

#include "base/log.h"

#include <QCoreApplication>

#include <cmath>

namespace {

constexpr qint64 liveMs = 3 * 500; // three missed polls
constexpr qint64 recordingMs = 10 * 1000;

} // namespace

QString SensorCardPresenter::lightOff()
{
    return QStringLiteral("Images/light_off.png");
}

QString SensorCardPresenter::lightOn()
{
    return QStringLiteral("Images/light_on.png");
}

QString SensorCardPresenter::lightError()
{
    return QStringLiteral("Images/light_error.png");
}

QString SensorCardPresenter::lightStyle(const QString &image)
{
    return QStringLiteral("image: url(:/images/%1);").arg(image);
}

QString SensorCardPresenter::toneSheet(const QString &objectName, Level level)
{
    const char *tone = "#3c4046";
    if (level == Level::Good)
        tone = "#1b6e2e";
    else if (level == Level::Waiting)
        tone = "#7a5200";
    else if (level == Level::Bad)
        tone = "#b3261e";
    return QStringLiteral("#%1 { color: %2; }").arg(objectName, QLatin1String(tone));
}

SensorCardPresenter::Change SensorCardPresenter::setConnectionState(int state)
{
    Change change;
    if (state == m_state && state != 0)
        return change;
    change.acted = true;
    m_state = state;
    m_disconnected = false;
    if (state == 2) {
        m_blinkOn = false;
        change.startBlinking = true;
        return change;
    }
    change.clearProgress = true;
    change.markConnection = true;
    change.connected = state == 1;
    if (state == 0) {
        change.light = lightError();
        ++m_errors;
    } else if (state == 1) {
        change.light = lightOn();
        m_errors = 0;
    } else {
        logDebug(QStringLiteral("%1::CALLING BAD STATE").arg(state));
        change.light = lightOff();
        change.disconnectActively = true;
    }
    return change;
}

QString SensorCardPresenter::toggleBlink()
{
    m_blinkOn = !m_blinkOn;
    return m_blinkOn ? lightOn() : lightOff();
}

void SensorCardPresenter::activelyDisconnected()
{
    m_disconnected = true;
    m_state = -1; // the light is off: whatever comes next is new
}

SensorCardPresenter::Word SensorCardPresenter::word(bool hasAddress, int retryMs, qint64 ageMs,
                                                    const QString &lastProblem) const
{
    Word word;
    if (!hasAddress) {
        word.text = QCoreApplication::translate("sensorcardpresenter", "Stored data only");
        word.reason = QCoreApplication::translate(
            "sensorcardpresenter", "This sensor has no connection. \"Reconnect Sensor...\" gives it one.");
    } else if (m_disconnected) {
        word.text = QCoreApplication::translate("sensorcardpresenter", "Disconnected");
        word.reason = QCoreApplication::translate("sensorcardpresenter",
                                                  "Disconnected by the user. \"Reconnect Sensor...\" connects again.");
    } else if (m_state == 1 || m_state == 2) {
        const bool recording = ageMs >= 0 && ageMs < recordingMs;
        const bool behind = !recording && m_state == 2 && ageMs >= 0;
        word.text = recording ? QCoreApplication::translate("sensorcardpresenter", "Recording")
                    : behind  ? QCoreApplication::translate("sensorcardpresenter", "Catching up")
                              : QCoreApplication::translate("sensorcardpresenter", "Connected");
        word.reason = recording ? QCoreApplication::translate("sensorcardpresenter", "Samples arrive and are stored.")
                      : behind  ? QCoreApplication::translate("sensorcardpresenter",
                                                              "What the sensor measured meanwhile is being downloaded.")
                                : QCoreApplication::translate("sensorcardpresenter",
                                                              "The sensor answers, but sends no new samples.");
        word.level = Level::Good;
    } else if (retryMs >= 0) {
        word.text = QCoreApplication::translate("sensorcardpresenter", "Next try in %1 s").arg((retryMs + 999) / 1000);
        word.reason = lastProblem.isEmpty()
                          ? QCoreApplication::translate("sensorcardpresenter", "The connection was lost.")
                          : lastProblem;
        word.level = Level::Bad;
    } else {
        word.text = QCoreApplication::translate("sensorcardpresenter", "Connecting");
        word.reason = lastProblem;
        word.level = Level::Waiting;
    }
    if (m_errors > 0)
        word.reason += QCoreApplication::translate("sensorcardpresenter", "\nConnection errors: %1").arg(m_errors);
    return word;
}

SensorCardPresenter::Age SensorCardPresenter::age(qint64 ageMs, bool connected)
{
    if (ageMs < 0)
        return {QCoreApplication::translate("sensorcardpresenter", "no data"), false};
    if (connected && ageMs < liveMs)
        return {QStringLiteral("live"), true};
    return {QCoreApplication::translate("sensorcardpresenter", "%1 ago").arg(duration(ageMs)), false};
}

QString SensorCardPresenter::progressTip(int samplesDone, int samplesTotal, int eventsDone, int eventsTotal)
{
    return QCoreApplication::translate("sensorcardpresenter", "%1/%2 Samples\n%3/%4 Events")
        .arg(samplesDone)
        .arg(samplesTotal)
        .arg(eventsDone)
        .arg(eventsTotal);
}

int SensorCardPresenter::progressValue(int samplesDone, int samplesTotal)
{
    if (samplesDone == 0 || samplesTotal == 0 || samplesDone == samplesTotal)
        return 0;
    return static_cast<int>(std::lround(static_cast<float>(samplesDone) / static_cast<float>(samplesTotal) * 100.0F));
}

QString SensorCardPresenter::frequencyText(qint32 hz)
{
    if (hz <= 0)
        return {};
    return hz >= 1000000 ? QStringLiteral("%1MHz").arg(hz / 1000000) : QStringLiteral("%1kHz").arg(hz / 1000);
}

QString SensorCardPresenter::duration(qint64 ms)
{
    const qint64 seconds = ms / 1000;
    if (seconds < 60)
        return QStringLiteral("%1 s").arg(seconds);
    if (seconds < 3600)
        return QCoreApplication::translate("sensorcardpresenter", "%1 min").arg(seconds / 60);
    if (seconds < 48 * 3600)
        return QCoreApplication::translate("sensorcardpresenter", "%1 h %2 min")
            .arg(seconds / 3600)
            .arg(seconds / 60 % 60, 2, 10, QLatin1Char('0'));
    return QCoreApplication::translate("sensorcardpresenter", "%1 days").arg(seconds / 86400);
}
