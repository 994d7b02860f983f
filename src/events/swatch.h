#pragma once

#include <QIcon>
#include <QString>

class QWidget;

/// A square of a colour, as high as the widget's text, with an edge that shows on its background.
QIcon swatchIcon(const QWidget &widget, const QString &colour);
/// Whether the widget's palette is a dark one.
bool isOnDark(const QWidget &widget);
