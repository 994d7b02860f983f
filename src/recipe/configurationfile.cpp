#include "recipe/configurationfile.h"

#include "base/coretext.h"
#include "base/json.h"
#include "base/safefile.h"
#include "recipe/configurationfields.h"
#include "recipe/configurationlimits.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTextStream>

#include <limits>

namespace {

using Numbers = QVector<double>;

constexpr double noNumber = std::numeric_limits<double>::quiet_NaN();

bool isCharacter(const ConfigurationField &field)
{
    return std::holds_alternative<quint8 SensorConfiguration::*>(field.member);
}

bool isWhole(const ConfigurationField &field)
{
    return !std::holds_alternative<double SensorConfiguration::*>(field.member);
}

int valuesOf(const ConfigurationField &field)
{
    return std::holds_alternative<ConfigurationLimits>(field.member) ? 2 : 1;
}

double numberIn(const QJsonValue &value, bool character)
{
    const QString text = value.toString();
    if (character)
        return text.size() == 1 && text.at(0).unicode() < 128 ? text.at(0).unicode() : noNumber;
    return value.toDouble(noNumber);
}

double numberIn(const QString &cell, bool whole)
{
    bool ok = false;
    const double value = whole ? static_cast<double>(cell.toLongLong(&ok)) : cell.toDouble(&ok);
    return ok ? value : noNumber;
}

struct Setter
{
    SensorConfiguration &configuration;
    const Numbers &numbers;

    template <typename T>
    void operator()(T SensorConfiguration::*member) const
    {
        configuration.*member = static_cast<T>(numbers.at(0));
    }
    void operator()(const ConfigurationLimits &limits) const
    {
        configuration.*limits.low = static_cast<qint32>(numbers.at(0));
        configuration.*limits.high = static_cast<qint32>(numbers.at(1));
    }
};

struct Copier
{
    const SensorConfiguration &from;
    SensorConfiguration &to;

    template <typename T>
    void operator()(T SensorConfiguration::*member) const
    {
        to.*member = from.*member;
    }
    void operator()(const ConfigurationLimits &limits) const
    {
        (*this)(limits.low);
        (*this)(limits.high);
    }
};

/// The values of every field as they stand in the file; none for a field that is not there.
QVector<Numbers> valuesOf(const QJsonObject &object)
{
    QVector<Numbers> values;
    for (const ConfigurationField &field : configurationFields()) {
        const QJsonValue value = configurationValue(object, field);
        Numbers numbers;
        const QJsonArray pair = value.toArray();
        if (valuesOf(field) > 1 && pair.size() == valuesOf(field))
            numbers = {numberIn(pair.at(0), false), numberIn(pair.at(1), false)};
        else if (!value.isUndefined())
            numbers = Numbers(valuesOf(field), numberIn(value, isCharacter(field)));
        values.append(numbers);
    }
    return values;
}

QVector<Numbers> valuesOf(QTextStream &lines)
{
    QVector<Numbers> values(static_cast<int>(configurationFields().size()));
    readConfigurationLines(lines, [&values](int index, const QStringList &cells) {
        const ConfigurationField &field = configurationFields()[static_cast<std::size_t>(index)];
        values[index].clear();
        for (int cell = 1; cell <= valuesOf(field); ++cell)
            values[index].append(numberIn(cells.value(cell), isWhole(field)));
    });
    return values;
}

} // namespace

bool ConfigurationFile::read(const QString &path, QString *reason)
{
    QByteArray bytes;
    if (!readWholeFile(path, bytes, SensorConfiguration::maximumFileSize, reason))
        return false;
    if (fromContent(bytes))
        return true;
    if (reason)
        *reason = CoreText::tr("it does not hold a sensor configuration");
    return false;
}

bool ConfigurationFile::fromContent(const QByteArray &bytes)
{
    *this = ConfigurationFile();
    const QJsonDocument document = parseJson(bytes);
    QTextStream lines(bytes);
    lines.setCodec("UTF-8");
    const QVector<Numbers> values = document.isObject() ? valuesOf(document.object()) : valuesOf(lines);
    for (int i = 0; i < values.size(); ++i) {
        if (values.at(i).isEmpty()) {
            missing.append(i);
            continue;
        }
        QString problem;
        for (const double value : values.at(i))
            problem = problem.isEmpty() ? configurationProblem(i, value) : problem;
        if (problem.isEmpty())
            std::visit(Setter{configuration, values.at(i)}, configurationFields()[static_cast<std::size_t>(i)].member);
        else
            problems.append(problem);
    }
    return missing.size() < values.size();
}

void ConfigurationFile::completeFrom(const SensorConfiguration &other)
{
    for (const int i : qAsConst(missing))
        std::visit(Copier{other, configuration}, configurationFields()[static_cast<std::size_t>(i)].member);
}

QStringList ConfigurationFile::missingTitles() const
{
    QStringList titles;
    for (const int i : missing)
        titles.append(configurationTitle(i));
    return titles;
}
