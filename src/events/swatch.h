#pragma once

#include <QIcon>
#include <QString>

#include <functional>

class QPainter;
class QWidget;

/// An icon as high as the widget's text, sharp on its screen: `paint` draws into a clear square of this side, with
/// smooth edges.
QIcon textHighIcon(const QWidget &widget, const std::function<void(QPainter &painter, int side)> &paint);
/// A square of a colour, as high as the widget's text, with an edge that shows on its background.
QIcon swatchIcon(const QWidget &widget, const QString &colour);
/// Whether the widget's palette is a dark one.
bool isOnDark(const QWidget &widget);
