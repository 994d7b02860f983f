#include "sensor/fakesensor.h"

#include "recipe/sensorconfiguration.h"
#include "sensor/sensorrequest.h"

#include <QUrlQuery>
#include <QtEndian>

namespace {

QByteArray pageOf(const PeerRequest &request)
{
    const int from = request.line.indexOf("/service/") + 9;
    return request.line.mid(from, request.line.indexOf('?') - from);
}

int query(const PeerRequest &request, const char *key)
{
    const QUrlQuery query(QString::fromLatin1(request.line.mid(request.line.indexOf('?') + 1)));
    const QString value = query.queryItemValue(QLatin1String(key));
    return value.isEmpty() ? -1 : value.toInt();
}

template <typename T>
QByteArray little(T value)
{
    QByteArray out(int(sizeof value), '\0');
    qToLittleEndian(value, out.data());
    return out;
}

} // namespace

FakeSensor::FakeSensor()
    : configuration(SensorConfiguration().configToJSON().replace("signalLock", "signal_lock")),
      m_peer([this](const PeerRequest &request) { return answer(request); })
{}

QStringList FakeSensor::asked() const
{
    QStringList out = m_peer.lines();
    for (int i = 0; i < out.size(); ++i) {
        if (m_peer.requests().at(i).line.startsWith("POST"))
            out[i].prepend(QLatin1String("POST "));
    }
    return out;
}

void FakeSensor::produce(int n)
{
    for (int i = 0; i < n; ++i, m_nextRawMs += 10)
        rawMs.append(m_nextRawMs);
}

void FakeSensor::restart()
{
    rawMs.clear();
    events.clear();
    m_nextRawMs = 10;
    uptimeMs = 0;
    dropConnections();
}

PeerAnswer FakeSensor::answer(const PeerRequest &request)
{
    const QByteArray page = pageOf(request);
    if (const auto special = other.value(page))
        return special(request);
    if (request.line.startsWith("POST"))
        return PeerAnswer::ok("{\"result\":\"ok\"}");
    if (page == "info.cgi")
        return PeerAnswer::ok("{\r\n\"serial_number\":\"" + serial + "\",\r\n\"frequency\":[" + frequencies + "]\r\n}");
    if (page == "status.cgi")
        return PeerAnswer::ok("{\"uptime\":\"" + QByteArray::number(uptimeMs) +
                              "\",\"fifo_resets\":" + QByteArray::number(fifoResets) + "}");
    if (page == "frame.cgi") {
        const int clear = query(request, "clear_index");
        if (clear >= 0) {
            clears.append(clear);
            rawMs.remove(0, qMin(clear + 1, rawMs.size()));
            events.clear();
        }
        return PeerAnswer::ok("{\"start\":0,\"number_of_points\":" + QByteArray::number(rawMs.size()) +
                              ",\"number_of_events\":" + QByteArray::number(events.size()) + "}");
    }
    if (page == "pulsedata.cgi" || page == "databis.cgi")
        return PeerAnswer::ok(samples(query(request, "index"), query(request, "limit")));
    if (page == "events.cgi")
        return PeerAnswer::ok(event(query(request, "index")));
    if (page == "config.cgi")
        return PeerAnswer::ok(configuration);
    if (page == "recipe.cgi")
        return PeerAnswer::ok(recipe);
    return PeerAnswer::status(404, sensorrequest::notFoundPage());
}

QByteArray FakeSensor::samples(int from, int limit) const
{
    QByteArrayList times;
    QByteArrayList values;
    for (int i = from; i < qMin(from + limit, rawMs.size()); ++i) {
        times += QByteArray::number(rawMs.at(i));
        values += "1.5";
    }
    QByteArray out = "{\n\"Time_ms\":[" + times.join(',') + "],\n";
    for (const char *key : {"Voltage", "Current_Ir", "Current_Ii", "nPulses", "P_Period", "P_1T_on", "P_1V_max",
                            "P_1V_min", "P_1V_avg", "P_1I_max", "P_1I_min", "P_1I_avg"})
        out += QByteArray("\"") + key + "\":[" + values.join(',') + "],\n";
    return out + "}\n";
}

QByteArray FakeSensor::event(int index) const
{
    if (index < 0 || index >= events.size())
        return {};
    const Event &e = events.at(index);
    return little(e.rawUs) + little(quint32(0x3f800000)) + little(quint32(0x3f800000)) + little(e.code) +
           little(quint16(2)) + char(e.name.size()) + e.name + little(qint16(7)) + little(qint16(8)) +
           little(qint16(9)) + little(qint16(1)) + little(qint16(2)) + little(qint16(3));
}
