#pragma once

#include <QString>

/// What a sensor's card says about recipes: the one the sensor runs, the one that is stored with its data and the one
/// that was sent last are three things that may differ. Pure functions over plain values.
struct PostedRecipe
{
    enum class State { None, OnItsWay, Taken, Refused, Failed };

    State state = State::None;
    QString name;
    QString reason; // of a refusal or a failure
    QString time;   // of the outcome, as it is shown
};

struct RecipeFacts
{
    bool connected = false;
    bool told = false;          // by the sensor, since it is connected
    QString sensorName;         // of the recipe that the sensor told
    bool sensorDiffers = false; // from what is stored, by any value
    QString storedName;
    int storedSteps = 0;
    int runningStep = -1; // from 0, -1 outside a run
    QString runningStepName;
    PostedRecipe posted;
};

struct RecipeStatus
{
    QString label;        // short, for the card
    QString tip;          // a line for each of the three
    bool known = false;   // there is a recipe
    bool problem = false; // what was sent last was not taken
};

RecipeStatus recipeStatus(const RecipeFacts &facts);
