#include "recipe/recipe.h"

#include "base/json.h"
#include "base/log.h"
#include "base/safefile.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QJsonValue>

#include <iterator>

namespace {

constexpr qint64 maximumFileSize = 1 << 20;

// Positions in recipenames::keys(); the step fields follow in the order of recipefields.inc.
enum Key : int { NameKey, CountKey, StepKey, StepNameKey, FirstFieldKey };

// The values of a new default step, in the order of recipefields.inc.
constexpr qint32 defaultValues[] = {5,    13560000, 1, 0,   50, 100, 500, 10, 20, 50, 0,
                                    1000, 1,        0, 100, 50, 3,   3,   1,  32, 0,  3000};

#define NORVEX_RECIPE_FIELD(type, getter, setter) +1
constexpr int fieldCount = 0
#include "recipe/recipefields.inc"
    ;
#undef NORVEX_RECIPE_FIELD
static_assert(std::size(defaultValues) == fieldCount, "one default for each step field");

template <typename T>
T fieldValue(qint32 number)
{
    return number;
}

// Only the number 1 is true.
template <>
bool fieldValue<bool>(qint32 number)
{
    return number == 1;
}

QString stepKey(int number)
{
    return recipenames::keys().at(StepKey) + QStringLiteral("%1").arg(number, 2, 10, QLatin1Char('0'));
}

QString withExtension(const QString &path)
{
    return path.contains(recipenames::fileExtension()) ? path : path + recipenames::fileExtension();
}

QJsonObject stepToJson(const Recipe &recipe, int step)
{
    const QStringList &keys = recipenames::keys();
    QJsonObject object;
    object.insert(keys.at(StepNameKey), recipe.stepName(step));
    int key = FirstFieldKey;
#define NORVEX_RECIPE_FIELD(type, getter, setter)                                                                      \
    object.insert(keys.at(key++), static_cast<qint32>(recipe.getter(step)));
#include "recipe/recipefields.inc"
#undef NORVEX_RECIPE_FIELD
    return object;
}

void stepFromJson(Recipe &recipe, int step, const QJsonObject &object)
{
    const QStringList &keys = recipenames::keys();
    recipe.setStepName(step, object.value(keys.at(StepNameKey)).toString());
    int key = FirstFieldKey;
#define NORVEX_RECIPE_FIELD(type, getter, setter)                                                                      \
    recipe.setter(step, fieldValue<type>(object.value(keys.at(key++)).toInt()));
#include "recipe/recipefields.inc"
#undef NORVEX_RECIPE_FIELD
}

QJsonDocument toDocument(const Recipe &recipe)
{
    QJsonObject object;
    object.insert(recipenames::keys().at(NameKey), recipe.recipeName());
    object.insert(recipenames::keys().at(CountKey), recipe.numberOfSteps());
    for (int step = 0; step < recipe.numberOfSteps(); ++step)
        object.insert(stepKey(step + 1), stepToJson(recipe, step));
    return QJsonDocument(object);
}

} // namespace

const QString &recipenames::folderName()
{
    static const QString text = QStringLiteral("Recipes");
    return text;
}

const QString &recipenames::defaultRecipeName()
{
    static const QString text = QStringLiteral("DefaultRecipe");
    return text;
}

const QString &recipenames::fileExtension()
{
    static const QString text = QStringLiteral(".recipe");
    return text;
}

const QString &recipenames::fileDialogFilter()
{
    static const QString text = QStringLiteral("recipe(*.recipe)");
    return text;
}

const QString &recipenames::servicePath()
{
    static const QString text = QStringLiteral("service/recipe.cgi");
    return text;
}

const QStringList &recipenames::keys()
{
    // "lenght" is what the sensor reads and writes.
    static const QStringList list = {
        QStringLiteral("recipe_name"),
        QStringLiteral("number_of_steps"),
        QStringLiteral("step_"),
        QStringLiteral("step_name"),
        QStringLiteral("duration"),
        QStringLiteral("frequency"),
        QStringLiteral("skip_time"),
        QStringLiteral("threshold"),
        QStringLiteral("event_max_len_1"),
        QStringLiteral("event_max_len_2"),
        QStringLiteral("event_max_len_3"),
        QStringLiteral("event_min_amp_1"),
        QStringLiteral("event_min_amp_2"),
        QStringLiteral("event_min_amp_3"),
        QStringLiteral("snapshot_enabled"),
        QStringLiteral("snapshot_delay"),
        QStringLiteral("snapshot_number"),
        QStringLiteral("pulse_enabled"),
        QStringLiteral("pulse_frequency"),
        QStringLiteral("pulse_duty_cycle"),
        QStringLiteral("pulse_period_em"),
        QStringLiteral("pulse_duty_cycle_em"),
        QStringLiteral("pulse_filter_length"),
        QStringLiteral("noise_filter_lenght"),
        QStringLiteral("strike_event_enabled"),
        QStringLiteral("rfonoff_switch_time"),
    };
    return list;
}

void Recipe::initDefault(int n)
{
    clear();
    m_recipeName = recipenames::defaultRecipeName();
    for (int step = 0; step < n; ++step) {
        addStep();
        m_stepName[step] = QStringLiteral("Step %1").arg(step + 1);
        const qint32 *value = defaultValues;
#define NORVEX_RECIPE_FIELD(type, getter, setter) m_##getter[step] = fieldValue<type>(*value++);
#include "recipe/recipefields.inc"
#undef NORVEX_RECIPE_FIELD
    }
}

void Recipe::clear()
{
    *this = Recipe();
}

void Recipe::addStep()
{
    setNumberOfSteps(numberOfSteps() + 1);
}

void Recipe::removeStep(int index)
{
    if (index < 0 || index >= numberOfSteps())
        return;
    m_stepName.removeAt(index);
#define NORVEX_RECIPE_FIELD(type, getter, setter) m_##getter.removeAt(index);
#include "recipe/recipefields.inc"
#undef NORVEX_RECIPE_FIELD
}

void Recipe::moveStep(int from, int to)
{
    if (from < 0 || to < 0 || from >= numberOfSteps() || to >= numberOfSteps() || from == to)
        return;
    m_stepName.move(from, to);
#define NORVEX_RECIPE_FIELD(type, getter, setter) m_##getter.move(from, to);
#include "recipe/recipefields.inc"
#undef NORVEX_RECIPE_FIELD
}

void Recipe::setNumberOfSteps(int count)
{
    count = qMax(0, count);
    m_stepName.resize(count);
#define NORVEX_RECIPE_FIELD(type, getter, setter) m_##getter.resize(count);
#include "recipe/recipefields.inc"
#undef NORVEX_RECIPE_FIELD
}

QString Recipe::stepName(int step) const
{
    return m_stepName.value(step);
}

void Recipe::setStepName(int step, const QString &name)
{
    if (step >= 0 && step < m_stepName.size())
        m_stepName[step] = name;
}

QByteArray Recipe::toJSON() const
{
    return toDocument(*this).toJson(QJsonDocument::Indented);
}

QByteArray Recipe::toCompactJSON() const
{
    return toDocument(*this).toJson(QJsonDocument::Compact);
}

bool Recipe::fromJSON(const QByteArray &bytes)
{
    QJsonParseError error{};
    const QJsonDocument document = parseJson(bytes, &error);
    if (document.isNull() || document.isEmpty()) {
        logDebug(QStringLiteral("Recipe::fromJSON Error reading recipe. %1").arg(error.errorString()));
        return false;
    }
    QJsonObject object = document.object();
    clear();
    m_recipeName = object.take(recipenames::keys().at(NameKey)).toString();
    object.remove(recipenames::keys().at(CountKey));
    // Whatever is left counts as a step, known key or not; a gap gives an empty step.
    const int steps = object.size();
    setNumberOfSteps(steps);
    for (int step = 0; step < steps; ++step)
        stepFromJson(*this, step, object.value(stepKey(step + 1)).toObject());
    return true;
}

bool Recipe::saveToFile(const QString &path, QString *error) const
{
    return writeFileSafely(withExtension(path), toJSON(), error);
}

bool Recipe::loadFromFile(const QString &path)
{
    if (path.isEmpty())
        return false;
    QByteArray bytes;
    QString reason;
    if (!readWholeFile(withExtension(path), bytes, maximumFileSize, &reason)) {
        logDebug(QStringLiteral("Recipe::loadFromFile: %1").arg(reason));
        bytes.clear(); // refused like an empty file
    }
    return fromJSON(bytes);
}

bool operator==(const Recipe &a, const Recipe &b)
{
    return a.m_recipeName == b.m_recipeName && a.m_stepName == b.m_stepName
#define NORVEX_RECIPE_FIELD(type, getter, setter) &&a.m_##getter == b.m_##getter
#include "recipe/recipefields.inc"
#undef NORVEX_RECIPE_FIELD
        ;
}
