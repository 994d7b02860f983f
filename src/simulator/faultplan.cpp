#include "simulator/faultplan.h"

#include <QList>

#include <algorithm>
#include <cmath>
#include <limits>

namespace {

constexpr qint64 always = std::numeric_limits<qint64>::max();
constexpr qint64 rebootMs = 500;
constexpr double longestMs = 1.0e12;

/// "30s", "1.5s", "200ms"; -1 for anything else.
qint64 duration(const QByteArray &text)
{
    const bool isMs = text.endsWith("ms");
    if (!isMs && !text.endsWith('s'))
        return -1;
    bool ok = false;
    const double value = text.left(text.size() - (isMs ? 2 : 1)).toDouble(&ok) * (isMs ? 1 : 1000);
    return ok && value >= 0 && value <= longestMs ? std::llround(value) : -1;
}

/// A request number; -1 for anything else.
qint64 requestNumber(const QByteArray &text)
{
    bool ok = false;
    const qint64 value = text.toLongLong(&ok);
    return ok && value >= 1 ? value : -1;
}

QString quoted(const QByteArray &text)
{
    return QLatin1Char('\'') + QString::fromUtf8(text) + QLatin1Char('\'');
}

} // namespace

bool FaultPlan::Rule::concerns(PageKind kind, bool isPost) const
{
    if (postsOnly)
        return isPost;
    // A clear is a frame request too.
    return allPages || page == kind || (page == PageKind::Frame && kind == PageKind::Clear);
}

bool FaultPlan::parse(const QByteArray &text, quint64 seed, QString *error)
{
    FaultPlan plan;
    plan.m_random = RandomSource(seed);
    const QList<QByteArray> rules = text.split(';');
    for (const QByteArray &rule : rules) {
        if (!rule.trimmed().isEmpty() && !plan.parseRule(rule.trimmed(), error))
            return false;
    }
    std::stable_sort(plan.m_actions.begin(), plan.m_actions.end(),
                     [](const PlannedAction &a, const PlannedAction &b) { return a.atMs < b.atMs; });
    *this = plan;
    return true;
}

bool FaultPlan::parseRule(const QByteArray &text, QString *error)
{
    const int at = text.indexOf('@');
    const int equals = text.indexOf('=', std::max(0, at));
    const QByteArray name = text.left(at).trimmed();
    const QByteArray when = text.mid(at + 1, equals < 0 ? -1 : equals - at - 1).trimmed();
    const QByteArray value = equals < 0 ? QByteArray() : text.mid(equals + 1).trimmed();
    if (at < 0) {
        *error = QStringLiteral("%1 in the fault plan is no rule like data@3=reset").arg(quoted(text));
        return false;
    }
    if (name == "reboot" || name == "off" || (name == "serial" && duration(when) >= 0))
        return parseAction(name, duration(when), value, error);

    Rule rule;
    rule.allPages = name == "all";
    rule.postsOnly = name == "post";
    rule.page = pageFromName(name);
    if (!rule.allPages && !rule.postsOnly && rule.page == PageKind::Unknown) {
        *error = QStringLiteral("%1 in the fault plan is not a page").arg(quoted(name));
        return false;
    }
    if (!parseWhen(when, rule)) {
        *error = QStringLiteral("%1 in the fault plan does not say when").arg(quoted(when));
        return false;
    }
    rule.fault = parseFault(value, error);
    m_rules.append(rule);
    return rule.fault.type != nullptr;
}

bool FaultPlan::parseAction(const QByteArray &name, qint64 atMs, const QByteArray &value, QString *error)
{
    using Kind = PlannedAction::Kind;
    const qint64 length = name == "reboot" ? rebootMs : duration(value);
    const bool sensible = name == "reboot" ? value.isEmpty() || value == "lost" || value == "kept"
                          : name == "off"  ? length >= 0
                                           : !value.isEmpty();
    if (atMs < 0 || !sensible) {
        *error = QStringLiteral("%1 in the fault plan wants a time, like reboot@30s, reboot@30s=kept, off@10s=2s or "
                                "serial@20s=SN2")
                     .arg(quoted(name));
        return false;
    }
    if (name == "serial") {
        m_actions.append({atMs, Kind::Serial, value});
        return true;
    }
    m_actions.append({atMs, Kind::PowerOff, {}});
    if (name == "reboot")
        m_actions.append({atMs, value == "kept" ? Kind::RebootKeeping : Kind::RebootLosing, {}});
    m_actions.append({atMs + length, Kind::PowerOn, {}});
    return true;
}

bool FaultPlan::parseWhen(const QByteArray &text, Rule &rule)
{
    const int dash = text.indexOf('-');
    if (text == "*") {
        rule.last = always;
        return true;
    }
    if (text.endsWith('%')) {
        bool ok = false;
        rule.when = Rule::When::Chance;
        rule.chance = text.left(text.size() - 1).toDouble(&ok) / 100;
        return ok && rule.chance >= 0 && rule.chance <= 1;
    }
    if (text.endsWith('s') && dash > 0) {
        rule.when = Rule::When::Time;
        rule.first = duration(text.left(dash));
        rule.last = duration(text.mid(dash + 1));
        return rule.first >= 0 && rule.last >= rule.first;
    }
    if (text.startsWith('/')) {
        rule.when = Rule::When::Every;
        rule.first = requestNumber(text.mid(1));
        return rule.first >= 1;
    }
    if (text.endsWith('+')) {
        rule.first = requestNumber(text.left(text.size() - 1));
        rule.last = always;
        return rule.first >= 1;
    }
    rule.first = requestNumber(dash > 0 ? text.left(dash) : text);
    rule.last = dash > 0 ? requestNumber(text.mid(dash + 1)) : rule.first;
    return rule.first >= 1 && rule.last >= rule.first;
}

Fault FaultPlan::next(PageKind page, bool isPost, qint64 elapsedMs)
{
    Fault chosen;
    for (Rule &rule : m_rules) {
        if (!rule.concerns(page, isPost))
            continue;
        ++rule.count;
        bool fits = false;
        switch (rule.when) {
        case Rule::When::Range:
            fits = rule.count >= rule.first && rule.count <= rule.last;
            break;
        case Rule::When::Every:
            fits = rule.count % rule.first == 0;
            break;
        case Rule::When::Chance:
            fits = m_random.chance(rule.chance);
            break;
        case Rule::When::Time:
            fits = elapsedMs >= rule.first && elapsedMs < rule.last;
            break;
        }
        if (fits && !chosen.type)
            chosen = rule.fault;
    }
    return chosen;
}

QVector<PlannedAction> FaultPlan::takeDue(qint64 elapsedMs)
{
    QVector<PlannedAction> due;
    while (!m_actions.isEmpty() && m_actions.first().atMs <= elapsedMs)
        due.append(m_actions.takeFirst());
    return due;
}
