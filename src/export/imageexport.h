#pragma once

#include <QByteArray>
#include <QString>

#include <functional>

class Prompts;
class QImage;
class QWidget;

/// Saving the display in view as a picture.
namespace imageexport {

/// The format that a file name asks for: "JPEG", "PNG" or "BMP"; empty for any other name, which saves nothing.
QByteArray formatOf(const QString &fileName);

/// Asks for a file name ("Save Image") and saves what `render` draws. The first proposal of the program's run is made
/// again every time. True when a picture was written; a box says why when it could not be.
bool saveImage(QWidget *parent, Prompts &prompts, const QString &folder, const std::function<QImage()> &render);

} // namespace imageexport
