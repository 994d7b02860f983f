#pragma once

#include <QElapsedTimer>
#include <QString>
#include <QStringList>

/// What was asked for on the command line. A run is a row of cases with numbers; each case depends only on the seed and
/// its number, as far as timing lets it, so one can be repeated alone.
struct Options
{
    QString command;
    quint64 seed = 1;
    int first = 0;
    int count = -1;     // cases; -1: until the time is up
    int seconds = -1;   // -1: until the cases are done
    bool every = false; // every single file call instead of chosen ones
    bool real = false;  // the waits of the real program, or its command line program, instead of short ones
    bool stop = false;  // at the first failure
    bool keep = false;  // what a failed case leaves on disk
    QString only;       // cases, or rows of cases, whose name holds this
    QString scratch;    // folder for sessions and ledgers
    QElapsedTimer started;

    bool isOver(int done) const
    {
        return (count >= 0 && done >= count) || (seconds >= 0 && started.elapsed() >= qint64(seconds) * 1000);
    }
    /// The command that repeats one case, the `number`th of `row` when every call is tried.
    QString repeating(int number, const QString &row = {}) const;
};

/// A small generator of its own for each case (splitmix64).
class Chance
{
public:
    Chance(quint64 seed, quint64 number) : m_state(seed * 0x9e3779b97f4a7c15U + number) { next(); }

    quint64 next()
    {
        m_state += 0x9e3779b97f4a7c15U;
        quint64 z = m_state;
        z = (z ^ (z >> 30)) * 0xbf58476d1ce4e5b9U;
        z = (z ^ (z >> 27)) * 0x94d049bb133111ebU;
        return z ^ (z >> 31);
    }
    /// 0 to limit - 1
    int below(qint64 limit) { return limit > 0 ? int(next() % quint64(limit)) : 0; }
    bool oneIn(int n) { return below(n) == 0; }

private:
    quint64 m_state;
};

int runKill(const Options &options);
int runPower(const Options &options);
int runError(const Options &options);
int runLink(const Options &options);
int runSoak(const Options &options);

/// Parts that the others start as processes of their own: a recorder with short waits, and a set of sensors.
int runRecorder(const QStringList &arguments);
int runSensors(const QStringList &arguments);

/// One line on standard output, at once.
void say(const QString &line);
