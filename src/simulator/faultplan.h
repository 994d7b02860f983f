#pragma once

#include "simulator/fault.h"
#include "simulator/pageservice.h"
#include "simulator/randomsource.h"

#include <QVector>

/// What happens to a sensor at a time, beside its answers.
struct PlannedAction
{
    enum class Kind { PowerOff, PowerOn, RebootLosing, RebootKeeping, Serial };

    qint64 atMs = 0; // since the plan began
    Kind kind = Kind::PowerOff;
    QByteArray text; // the new serial
};

/// Which requests go wrong in which way. Rules are separated by ";", the first that fits a request decides:
///
///     PAGE@WHEN=FAULT[:ARGUMENT]
///
/// PAGE is info, frame, clear (a frame request that clears), status, data, events, config, recipe, trigger, post (any
/// upload) or all. WHEN counts the requests of that page from 1: "3", "10-12", "5+" (from the fifth on), "/4" (every
/// fourth), "*" (each); or it is a chance, "5%"; or a time since the start, "10s-20s". Faults: see fault.cpp or --help.
///
///     reboot@30s or reboot@30s=kept     the sensor restarts, out of reach for half a second; its data lost or kept
///     off@10s=2s                        out of reach for two seconds
///     serial@20s=SN2                    another sensor answers from then on
///
/// A plain value that remembers how often each page was asked for. The same plan, seed and requests give the same
/// faults.
class FaultPlan
{
public:
    /// False and a reason that quotes the rule when the text makes no sense; the plan is then unchanged.
    bool parse(const QByteArray &text, quint64 seed, QString *error);

    bool isEmpty() const { return m_rules.isEmpty() && m_actions.isEmpty(); }

    /// Counts this request and returns its fault; one without type when all is well.
    Fault next(PageKind page, bool isPost, qint64 elapsedMs);

    /// The actions that have become due since the last call, in the order of their times.
    QVector<PlannedAction> takeDue(qint64 elapsedMs);

private:
    struct Rule
    {
        enum class When { Range, Every, Chance, Time };

        bool allPages = false;
        bool postsOnly = false;
        PageKind page = PageKind::Unknown;
        When when = When::Range;
        qint64 first = 1; // request number or ms
        qint64 last = 0;
        double chance = 0;
        Fault fault;
        qint64 count = 0; // requests of its pages so far

        bool concerns(PageKind kind, bool isPost) const;
    };

    bool parseRule(const QByteArray &text, QString *error);
    bool parseAction(const QByteArray &name, qint64 atMs, const QByteArray &value, QString *error);
    static bool parseWhen(const QByteArray &text, Rule &rule);

    QVector<Rule> m_rules;
    QVector<PlannedAction> m_actions; // not yet taken, by time
    RandomSource m_random;
};
