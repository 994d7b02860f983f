#include "display/sensors/sensorchooser.h"

#include <QPixmap>

SensorChooser::SensorChooser(QWidget *parent) : QComboBox(parent)
{
    setObjectName(QStringLiteral("cb_displayedSensor"));
    setAccessibleName(tr("Sensor that the commands act on"));
    setToolTip(tr("The sensor that Export, Snapshot and the commands of the summary act on: the one whose display was "
                  "switched on last, or the one chosen here"));
    setSizeAdjustPolicy(QComboBox::AdjustToMinimumContentsLengthWithIcon);
    setMinimumContentsLength(12);
    hide();
    connect(this, qOverload<int>(&QComboBox::activated), this,
            [this](int index) { emit chosen(itemData(index).toString()); });
}

void SensorChooser::setSensors(const QVector<Entry> &sensors, const QString &current)
{
    clear();
    QPixmap swatch(iconSize());
    for (const Entry &entry : sensors) {
        swatch.fill(entry.colour);
        addItem(swatch, entry.name, entry.serial);
    }
    setCurrentIndex(findData(current));
    setVisible(sensors.size() > 1);
}
