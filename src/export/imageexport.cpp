#include "export/imageexport.h"

#include "base/prompts.h"
#include "base/safefile.h"

#include <QBuffer>
#include <QCoreApplication>
#include <QDateTime>
#include <QDir>
#include <QFileInfo>
#include <QImage>

namespace {

QString proposedName(const QString &folder)
{
    // Made once: whoever exports several pictures in a row only changes the name's end.
    static const QString first =
        folder + QLatin1Char('/') + QDateTime::currentDateTime().toString(QStringLiteral("yyyy_MM_dd-HH_mm_ss"));
    return first;
}

} // namespace

QByteArray imageexport::formatOf(const QString &fileName)
{
    const QString name = QFileInfo(fileName).fileName().toLower();
    if (name.contains(QLatin1String(".jpeg")))
        return QByteArrayLiteral("JPEG");
    if (name.contains(QLatin1String(".png")))
        return QByteArrayLiteral("PNG");
    if (name.contains(QLatin1String(".bmp")))
        return QByteArrayLiteral("BMP");
    return {};
}

bool imageexport::saveImage(QWidget *parent, Prompts &prompts, const QString &folder,
                            const std::function<QImage()> &render)
{
    QDir().mkpath(folder);
    const QString path = prompts.saveFile(
        parent, QCoreApplication::translate("imageexport", "Save Image"), proposedName(folder),
        QCoreApplication::translate("imageexport",
                                    "Portable Network Graphics file (*.png);;JPEG file (*.jpeg);;Bitmap file (*.bmp)"),
        QStringLiteral("png"));
    const QByteArray format = formatOf(path);
    if (format.isEmpty())
        return false;
    QByteArray bytes;
    QBuffer buffer(&bytes);
    QString error = QCoreApplication::translate("imageexport", "the picture could not be encoded");
    const bool encoded = render().save(&buffer, format.constData());
    if (encoded && writeFileSafely(path, bytes, &error))
        return true;
    prompts.warn(parent, QCoreApplication::translate("imageexport", "Unable to create file"),
                 QCoreApplication::translate("imageexport", "Unable to create file:") + path, {error, QString()});
    return false;
}
