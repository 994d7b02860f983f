#include "recipe/sensorconfiguration.h"

#include "base/coretext.h"
#include "base/json.h"
#include "base/safefile.h"
#include "recipe/configurationfields.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QStringList>
#include <QTextStream>

#include <algorithm>
#include <cmath>
#include <limits>

namespace {

// The parser's own integer conversion gives 0 beyond 2^31 - 1, so numbers are taken as doubles and clamped.
template <typename T>
T clampedTo(double number)
{
    using Limits = std::numeric_limits<T>;
    return static_cast<T>(std::clamp(number, double(Limits::min()), double(Limits::max())));
}

struct JsonReader
{
    SensorConfiguration &configuration;
    const QJsonValue &value;

    bool operator()(double SensorConfiguration::*member) const
    {
        if (value.isDouble())
            configuration.*member = value.toDouble();
        return value.isDouble();
    }
    template <typename T>
    bool operator()(T SensorConfiguration::*member) const
    {
        if (value.isDouble())
            configuration.*member = clampedTo<T>(value.toDouble());
        return value.isDouble();
    }
    bool operator()(quint8 SensorConfiguration::*member) const
    {
        const QByteArray text = value.toString().toUtf8();
        if (value.isString())
            configuration.*member = text.isEmpty() ? quint8(0) : static_cast<quint8>(text.at(0));
        return value.isString();
    }
    bool operator()(const ConfigurationLimits &limits) const
    {
        const QJsonArray pair = value.toArray();
        if (pair.size() == 2 && pair.at(0).isDouble() && pair.at(1).isDouble()) {
            configuration.*limits.low = clampedTo<qint32>(pair.at(0).toDouble());
            configuration.*limits.high = clampedTo<qint32>(pair.at(1).toDouble());
        }
        return value.isArray();
    }
};

struct JsonWriter
{
    const SensorConfiguration &configuration;

    template <typename T>
    QJsonValue operator()(T SensorConfiguration::*member) const
    {
        return double(configuration.*member);
    }
    QJsonValue operator()(quint8 SensorConfiguration::*member) const
    {
        return QString(QLatin1Char(static_cast<char>(configuration.*member)));
    }
    QJsonValue operator()(const ConfigurationLimits &limits) const
    {
        return QJsonArray{configuration.*limits.low, configuration.*limits.high};
    }
};

struct TextWriter
{
    const SensorConfiguration &configuration;
    QTextStream &stream;

    template <typename T>
    void operator()(T SensorConfiguration::*member) const
    {
        stream << configuration.*member;
    }
    void operator()(quint8 SensorConfiguration::*member) const { stream << uint(configuration.*member); }
    void operator()(const ConfigurationLimits &limits) const
    {
        stream << configuration.*limits.low << ';' << configuration.*limits.high;
    }
};

struct TextReader
{
    SensorConfiguration &configuration;
    const QStringList &cells; // the label, then the values

    template <typename T>
    T number(int cell) const
    {
        const uint value = cells.value(cell).toUInt();
        return value <= std::numeric_limits<T>::max() ? static_cast<T>(value) : T(0);
    }
    void operator()(double SensorConfiguration::*member) const
    {
        const double value = cells.value(1).toDouble(); // takes "inf" and "nan", which the other forms cannot hold
        configuration.*member = std::isfinite(value) ? value : 0;
    }
    void operator()(qint32 SensorConfiguration::*member) const { configuration.*member = cells.value(1).toInt(); }
    template <typename T>
    void operator()(T SensorConfiguration::*member) const
    {
        configuration.*member = number<T>(1);
    }
    void operator()(const ConfigurationLimits &limits) const
    {
        configuration.*limits.low = number<qint32>(1);
        configuration.*limits.high = number<qint32>(2);
    }
};

struct Equal
{
    const SensorConfiguration &a;
    const SensorConfiguration &b;

    bool operator()(double SensorConfiguration::*member) const
    {
        return !(a.*member < b.*member) && !(b.*member < a.*member);
    }
    template <typename T>
    bool operator()(T SensorConfiguration::*member) const
    {
        return a.*member == b.*member;
    }
    bool operator()(const ConfigurationLimits &limits) const
    {
        return a.*limits.low == b.*limits.low && a.*limits.high == b.*limits.high;
    }
};

bool readObject(SensorConfiguration &configuration, const QJsonObject &object, bool eitherName = false)
{
    for (const ConfigurationField &field : configurationFields()) {
        const QJsonValue value = eitherName ? configurationValue(object, field) : object.value(field.readKey);
        if (!std::visit(JsonReader{configuration, value}, field.member))
            return false;
    }
    return true;
}

/// The number of lines that were taken.
int readLines(SensorConfiguration &configuration, QTextStream &stream)
{
    int taken = 0;
    readConfigurationLines(stream, [&](int index, const QStringList &cells) {
        std::visit(TextReader{configuration, cells}, configurationFields()[static_cast<std::size_t>(index)].member);
        ++taken;
    });
    return taken;
}

} // namespace

bool SensorConfiguration::configFromJSON(const QByteArray &bytes)
{
    const QJsonDocument document = parseJson(bytes);
    return document.isObject() && readObject(*this, document.object());
}

QByteArray SensorConfiguration::configToJSON() const
{
    QJsonObject object;
    for (const ConfigurationField &field : configurationFields())
        object.insert(field.writtenKey, std::visit(JsonWriter{*this}, field.member));
    return QJsonDocument(object).toJson(QJsonDocument::Indented);
}

void SensorConfiguration::writeConfigText(QTextStream &stream) const
{
    for (const ConfigurationField &field : configurationFields()) {
        if (field.label.isEmpty())
            continue;
        stream << field.label << ';';
        std::visit(TextWriter{*this, stream}, field.member);
        stream << '\n';
    }
}

void SensorConfiguration::readConfigText(QTextStream &stream)
{
    readLines(*this, stream);
}

bool SensorConfiguration::saveToFile(const QString &path, QString *error) const
{
    return writeFileSafely(path, configToJSON(), error);
}

bool SensorConfiguration::loadFromFile(const QString &path, QString *error)
{
    QByteArray bytes;
    if (!readWholeFile(path, bytes, maximumFileSize, error))
        return false;
    if (fromFileContent(bytes))
        return true;
    if (error)
        *error = CoreText::tr("%1 does not hold a sensor configuration").arg(path);
    return false;
}

bool SensorConfiguration::fromFileContent(const QByteArray &bytes)
{
    SensorConfiguration read = *this;
    bool ok = false;
    const QJsonDocument document = parseJson(bytes);
    if (document.isObject()) {
        ok = readObject(read, document.object(), true);
    } else {
        QTextStream stream(bytes);
        stream.setCodec("UTF-8");
        ok = readLines(read, stream) > 0;
    }
    if (ok)
        *this = read;
    return ok;
}

bool operator==(const SensorConfiguration &a, const SensorConfiguration &b)
{
    return std::all_of(configurationFields().begin(), configurationFields().end(),
                       [&](const ConfigurationField &field) {
                           return std::visit(Equal{a, b}, field.member);
                       });
}

const QString &configFileExtension()
{
    static const QString text = QStringLiteral(".norvexconfig");
    return text;
}
