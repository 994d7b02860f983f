#include "sensor/samplepageoracle.h"

#include <QString>
#include <QStringList>

#include <cmath>

namespace {

const QVector<QStringList> &keys()
{
    static const QVector<QStringList> list{{QStringLiteral("Time_ms")},
                                           {QStringLiteral("Voltage")},
                                           {QStringLiteral("Current_Ir")},
                                           {QStringLiteral("Current_Ii")},
                                           {QStringLiteral("nPulses")},
                                           {QStringLiteral("P_Period")},
                                           {QStringLiteral("P_1T_on"), QStringLiteral("P_T_on")},
                                           {QStringLiteral("P_1V_max"), QStringLiteral("P_V_max")},
                                           {QStringLiteral("P_1V_min"), QStringLiteral("P_V_min")},
                                           {QStringLiteral("P_1V_avg"), QStringLiteral("P_V")},
                                           {QStringLiteral("P_1I_max"), QStringLiteral("P_I_max")},
                                           {QStringLiteral("P_1I_min"), QStringLiteral("P_I_min")},
                                           {QStringLiteral("P_1I_avg"), QStringLiteral("P_I")},
                                           {QStringLiteral("P_2T_on")},
                                           {QStringLiteral("P_2V_max")},
                                           {QStringLiteral("P_2V_min")},
                                           {QStringLiteral("P_2V_avg")},
                                           {QStringLiteral("P_2I_max")},
                                           {QStringLiteral("P_2I_min")},
                                           {QStringLiteral("P_2I_avg")},
                                           {QStringLiteral("E_11")},
                                           {QStringLiteral("E_12")},
                                           {QStringLiteral("E_13")},
                                           {QStringLiteral("E_21")},
                                           {QStringLiteral("E_22")},
                                           {QStringLiteral("E_23")},
                                           {QStringLiteral("E_31")},
                                           {QStringLiteral("E_32")},
                                           {QStringLiteral("E_33")},
                                           {QStringLiteral("E_PE")}};
    return list;
}

int columnOf(const QString &name)
{
    for (int i = 0; i < keys().size(); ++i) {
        for (const QString &key : keys().at(i)) {
            if (name.contains(key, Qt::CaseInsensitive))
                return i;
        }
    }
    return -1;
}

double real(const QStringList &column, int i)
{
    const double value = column.isEmpty() ? 0 : column.at(i).toDouble();
    return std::isfinite(value) ? value : 0;
}

qint32 whole(const QStringList &column, int i)
{
    return qint32(qRound64(qBound(-2147483648.0, real(column, i), 2147483647.0)));
}

} // namespace

SamplePage readSamplePageSlowly(const QByteArray &reply, qint64 timeBaseUs)
{
    QVector<QStringList> columns(keys().size());
    const int nul = reply.indexOf('\0');
    const QString text = QString::fromLatin1(nul < 0 ? reply : reply.left(nul));
    for (const QString &line : text.split(QLatin1Char('\n'))) {
        const QStringList pieces = line.split(QLatin1Char(':'));
        const int column = pieces.size() < 2 ? -1 : columnOf(pieces.first());
        if (column < 0)
            continue;
        QString value = pieces.at(1).trimmed();
        value.chop(1);
        value.remove(QLatin1Char('['));
        value.remove(QLatin1Char(']'));
        columns[column] = value.trimmed().isEmpty() ? QStringList() : value.split(QLatin1Char(','));
    }

    SamplePage page;
    const int n = columns.first().size();
    for (int i = 0; i < columns.size(); ++i) {
        if (columns.at(i).size() == n)
            continue;
        if (i < 13)
            page.fault = SamplePage::Fault::UnequalColumns;
        page.ignoredColumns += columns.at(i).isEmpty() ? 0 : 1;
        columns[i].clear();
    }
    if (!page.ok()) {
        page.ignoredColumns = 0;
        return page;
    }
    for (int i = 0; i < n; ++i) {
        bool ok = false;
        qint64 ms = columns.at(0).at(i).toLongLong(&ok);
        const double fraction = columns.at(0).at(i).toDouble(&ok);
        if (!ok || !(std::fabs(fraction) <= 4.6e15)) {
            page = SamplePage();
            page.fault = SamplePage::Fault::BadTime;
            return page;
        }
        ms = qRound64(fraction);
        SamplePoint p;
        const qint64 time = ms * 1000 + timeBaseUs;
        page.newestRawUs = i == 0 ? ms * 1000 : qMax(page.newestRawUs, ms * 1000);
        page.clampedTimes += time < 0 ? 1 : 0;
        p.time = quint64(qMax<qint64>(time, 0));
        p.voltage = real(columns.at(1), i);
        p.currentReal = real(columns.at(2), i);
        p.currentImaginary = real(columns.at(3), i);
        p.numberOfPulses = whole(columns.at(4), i);
        p.pulsePeriod = real(columns.at(5), i);
        p.slot1OnTime = whole(columns.at(6), i);
        p.slot1VoltageMax = real(columns.at(7), i);
        p.slot1VoltageMin = real(columns.at(8), i);
        p.slot1VoltageAvg = real(columns.at(9), i);
        p.slot1CurrentMax = real(columns.at(10), i);
        p.slot1CurrentMin = real(columns.at(11), i);
        p.slot1CurrentAvg = real(columns.at(12), i);
        p.slot2OnTime = whole(columns.at(13), i);
        p.slot2VoltageMax = real(columns.at(14), i);
        p.slot2VoltageMin = real(columns.at(15), i);
        p.slot2VoltageAvg = real(columns.at(16), i);
        p.slot2CurrentMax = real(columns.at(17), i);
        p.slot2CurrentMin = real(columns.at(18), i);
        p.slot2CurrentAvg = real(columns.at(19), i);
        for (int e = 0; e < 10; ++e)
            p.eventCounts[size_t(e)] = whole(columns.at(20 + e), i);
        page.points.append(p);
    }
    return page;
}
