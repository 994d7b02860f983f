#include "session/sessionfile.h"

#include "base/coretext.h"
#include "data/datanames.h"

#include <QSet>

#include <algorithm>

namespace {

const QLatin1String headerKeyword("Norvex session file ;");
const QLatin1String headerStart("Norvex session file");
const QLatin1String version("V1.0.0");
const QLatin1String countKeyword("Sensor Data;");
const QLatin1String sensorKeyword("sensor;");
const QLatin1String endKeyword("End Sensors;");

bool isHexDigit(QChar c)
{
    const QChar lower = c.toLower();
    return (c >= QLatin1Char('0') && c <= QLatin1Char('9')) || (lower >= QLatin1Char('a') && lower <= QLatin1Char('f'));
}

bool isColour(const QString &text)
{
    return text.size() == 7 && text.at(0) == QLatin1Char('#') && std::all_of(text.begin() + 1, text.end(), isHexDigit);
}

void readTimeLine(const QStringList &fields, SessionFileSensor &sensor)
{
    bool baseOk = false;
    bool uptimeOk = false;
    const qint64 base = fields.value(7).toLongLong(&baseOk);
    const qint64 uptime = fields.value(8).toLongLong(&uptimeOk);
    if (!baseOk || !uptimeOk || uptime < 0)
        return;
    sensor.timeLineKnown = true;
    sensor.baseUs = base;
    sensor.uptimeMs = uptime;
}

/// The fields of a "sensor;" line; the keyword is field 0.
SessionFileSensor sensorOf(const QStringList &fields)
{
    SessionFileSensor sensor;
    sensor.folder = fields.value(1);
    sensor.serial = fields.value(2);
    sensor.chamber = fields.value(3).isEmpty() ? QStringLiteral("Default") : fields.value(3);
    sensor.address = fields.value(4);
    bool portOk = false;
    const quint16 port = fields.value(5).toUShort(&portOk);
    if (portOk && port > 0)
        sensor.port = port;
    if (isColour(fields.value(6)))
        sensor.colour = fields.value(6).toLower();
    readTimeLine(fields, sensor);
    return sensor;
}

class Reader
{
public:
    explicit Reader(SessionFileContent &content) : m_content(content) {}

    /// False at the end of the sensors.
    bool takeLine(const QString &line)
    {
        if (line.startsWith(endKeyword)) {
            m_ended = true;
            return false;
        }
        if (line.startsWith(countKeyword))
            m_announced = line.midRef(countKeyword.size()).trimmed().toInt(&m_countKnown);
        else if (line.startsWith(sensorKeyword))
            takeSensor(line);
        return true;
    }

    void finish()
    {
        if (!m_ended)
            report(CoreText::tr("the session file ends early"));
        if (!m_countKnown)
            report(CoreText::tr("the session file does not say how many sensors it lists"));
        else if (m_announced != m_lines)
            report(CoreText::tr("the session file announces %1 sensors and lists %2").arg(m_announced).arg(m_lines));
    }

private:
    void report(const QString &problem) { m_content.problems.append(problem); }

    void takeSensor(const QString &line)
    {
        ++m_lines;
        const QStringList fields = line.split(QLatin1Char(';'));
        const SessionFileSensor sensor = sensorOf(fields);
        if (fields.size() < 4)
            return report(CoreText::tr("sensor line %1 is incomplete").arg(m_lines));
        if (!datanames::isPlainFileName(sensor.folder))
            return report(CoreText::tr("sensor line %1 names a folder outside the session").arg(m_lines));
        if (m_folders.contains(sensor.folder.toLower()))
            return report(CoreText::tr("the folder %1 is listed twice").arg(sensor.folder));
        if (!sensor.serial.isEmpty() && m_serials.contains(sensor.serial))
            return report(CoreText::tr("the sensor %1 is listed twice").arg(sensor.serial));
        m_folders.insert(sensor.folder.toLower());
        m_serials.insert(sensor.serial);
        m_content.sensors.append(sensor);
    }

    SessionFileContent &m_content;
    QSet<QString> m_folders; // lower case: some file systems do not tell them apart
    QSet<QString> m_serials;
    int m_announced = 0;
    int m_lines = 0;
    bool m_countKnown = false;
    bool m_ended = false;
};

} // namespace

bool sessionfile::canName(const QString &folder)
{
    return datanames::isPlainFileName(folder) && datanames::lineSafe(folder) == folder;
}

QByteArray sessionfile::write(const QVector<SessionFileSensor> &sensors)
{
    using datanames::lineSafe;
    QString text = headerKeyword + version + QLatin1Char('\n');
    text += countKeyword + QString::number(sensors.size()) + QLatin1Char('\n');
    for (const SessionFileSensor &sensor : sensors) {
        const QStringList fields{lineSafe(sensor.folder),
                                 lineSafe(sensor.serial),
                                 lineSafe(sensor.chamber),
                                 lineSafe(sensor.address),
                                 QString::number(sensor.port),
                                 lineSafe(sensor.colour),
                                 sensor.timeLineKnown ? QString::number(sensor.baseUs) : QString(),
                                 sensor.timeLineKnown ? QString::number(sensor.uptimeMs) : QString()};
        text += sensorKeyword + fields.join(QLatin1Char(';')) + QLatin1Char('\n');
    }
    text += endKeyword + QLatin1Char('\n');
    return text.toUtf8();
}

bool sessionfile::read(const QByteArray &bytes, SessionFileContent &content, QString *reason)
{
    content = {};
    if (!QString::fromUtf8(bytes.left(64)).startsWith(headerStart)) {
        if (reason)
            *reason = CoreText::tr("it does not begin like a session file");
        return false;
    }
    Reader reader(content);
    int start = 0;
    while (start < bytes.size()) {
        int end = bytes.indexOf('\n', start);
        if (end < 0)
            end = bytes.size();
        QByteArray line = bytes.mid(start, end - start);
        if (line.endsWith('\r'))
            line.chop(1);
        start = end + 1;
        if (!reader.takeLine(QString::fromUtf8(line)))
            break;
    }
    reader.finish();
    return true;
}
