#pragma once

#include <QIcon>
#include <QString>

class QWidget;
class Theme;
class eventTypeNames;

/// What stands for an event type beside its name: the marker of the plots for a built-in one, the square of its colour
/// for one of the user's; as high as the widget's text.
QIcon eventIcon(const QString &name, const Theme &theme, const eventTypeNames &dictionary, const QWidget &widget);
