#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>
#include <QVector>

/// Names and texts that belong to recipes, shared by the whole program.
namespace recipenames {
const QString &folderName();        // "Recipes"
const QString &defaultRecipeName(); // "DefaultRecipe"
const QString &fileExtension();     // ".recipe"
const QString &fileDialogFilter();  // "recipe(*.recipe)"
const QString &servicePath();       // "service/recipe.cgi"
/// The ordered key list that writer and reader index: "recipe_name", "number_of_steps", "step_", "step_name", ...
const QStringList &keys();
} // namespace recipenames

/// The ordered list of process steps that a sensor follows while RF is on. A plain value, kept as one array per step
/// field, all of the same length. Its JSON is both the ".recipe" file and the body sent to the sensor.
/// Getters of a step index out of range return 0, false or an empty text; setters then do nothing.
class Recipe
{
public:
    static constexpr int maximumSteps = 40;
    static constexpr int maximumNameLength = 48;

    /// Clears, names the recipe "DefaultRecipe" and appends n steps "Step 1" .. "Step n" with the default values.
    void initDefault(int n);
    void clear();
    /// Appends a step whose name is empty and whose every field is 0 or false.
    void addStep();
    void removeStep(int index);
    void moveStep(int from, int to);

    bool isEmpty() const { return numberOfSteps() == 0; }
    int numberOfSteps() const { return m_stepName.size(); }
    /// Appends or removes steps at the end.
    void setNumberOfSteps(int count);
    const QString &recipeName() const { return m_recipeName; }
    void setRecipeName(const QString &name) { m_recipeName = name; }

    QString stepName(int step) const;
    void setStepName(int step, const QString &name);

#define NORVEX_RECIPE_FIELD(type, getter, setter)                                                                      \
    type getter(int step) const { return m_##getter.value(step); }                                                     \
    void setter(int step, type value)                                                                                  \
    {                                                                                                                  \
        if (step >= 0 && step < m_##getter.size())                                                                     \
            m_##getter[step] = value;                                                                                  \
    }
#include "recipe/recipefields.inc"
#undef NORVEX_RECIPE_FIELD

    /// Indented JSON, keys in alphabetical order, booleans as 0 and 1, steps as "step_01", "step_02", ...
    QByteArray toJSON() const;
    /// The same object on one line, for the index and event files.
    QByteArray toCompactJSON() const;
    /// Replaces this recipe by the document's. False, one log line and no change when it cannot be parsed; every other
    /// document is taken: the number of steps is the number of members besides the name and the count, a missing
    /// field is 0, and only the number 1 is true.
    bool fromJSON(const QByteArray &bytes);

    /// Appends ".recipe" to a path without it and replaces the file. False when it cannot be written.
    bool saveToFile(const QString &path, QString *error = nullptr) const;
    /// False for an empty path, a file that cannot be opened or is larger than 1 MiB, and a document that cannot be
    /// parsed; the recipe is then unchanged.
    bool loadFromFile(const QString &path);

    friend bool operator==(const Recipe &a, const Recipe &b);
    friend bool operator!=(const Recipe &a, const Recipe &b) { return !(a == b); }

private:
    QString m_recipeName;
    QVector<QString> m_stepName;
#define NORVEX_RECIPE_FIELD(type, getter, setter) QVector<type> m_##getter;
#include "recipe/recipefields.inc"
#undef NORVEX_RECIPE_FIELD
};
