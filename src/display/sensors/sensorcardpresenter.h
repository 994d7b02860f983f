#pragma once

#include <QString>

/// Decides what a sensor's card says, without a widget: light, state word, ages, progress, frequency. The card copies
/// it. A plain value; times come in as numbers.
class SensorCardPresenter
{
public:
    enum class Level { Good, Waiting, Bad, Neutral };

    /// What the card has to do after a connection state arrived.
    struct Change
    {
        bool acted = false;         // the state was new, or 0
        bool startBlinking = false; // else the blink timer stops
        bool clearProgress = false;
        bool markConnection = false; // tell the store whether it is connected
        bool connected = false;
        bool disconnectActively = false;
        QString light; // image to show now, empty: unchanged
    };

    static QString lightOff();   // "Images/light_off.png"
    static QString lightOn();    // "Images/light_on.png"
    static QString lightError(); // "Images/light_error.png"
    /// "image: url(:/images/%1);"
    static QString lightStyle(const QString &image);
    /// Colours the words of a widget of the card by its name: a sheet without a name reaches its tool tip, too.
    static QString toneSheet(const QString &objectName, Level level);

    Change setConnectionState(int state);
    /// One tick of the blink timer: the image to show.
    QString toggleBlink();
    void activelyDisconnected();
    /// A connection is tried again after activelyDisconnected().
    void connecting() { m_disconnected = false; }
    int connectionState() const { return m_state; }
    /// How often state 0 was shown since state 1.
    int consecutiveErrors() const { return m_errors; }

    struct Word
    {
        QString text;   // "Recording", "Connected", "Next try in 7 s", ...
        QString reason; // the why, for the tooltip
        Level level = Level::Neutral;
    };
    /// `hasAddress`: the sensor has a connection at all. `retryMs`: -1, or the time to the next try. `ageMs`: of the
    /// newest sample, -1 without one.
    Word word(bool hasAddress, int retryMs, qint64 ageMs, const QString &lastProblem) const;

    struct Age
    {
        QString text; // "0.4 s ago", "no data"
        bool live = false;
    };
    /// A sample older than three polls is not live any more.
    static Age age(qint64 ageMs, bool connected);

    /// "%1/%2 Samples\n%3/%4 Events"
    static QString progressTip(int samplesDone, int samplesTotal, int eventsDone, int eventsTotal);
    /// Per cent done in single precision; 0 at the start and 0 again when all is done.
    static int progressValue(int samplesDone, int samplesTotal);
    /// "13MHz", "400kHz", empty for 0.
    static QString frequencyText(qint32 hz);
    /// "3 s", "4 min", "2 h 05 min": a length of time a person reads at a glance.
    static QString duration(qint64 ms);

private:
    int m_state = -1; // last shown
    int m_errors = 0;
    bool m_blinkOn = false;
    bool m_disconnected = false; // by the user
};
