#include "display/sensors/sensorchooser.h"

#include <QPixmap>

#include <algorithm>

namespace {

constexpr int fewestLetters = 12;
constexpr int mostLetters = 22;

} // namespace

SensorChooser::SensorChooser(QWidget *parent) : QComboBox(parent)
{
    setObjectName(QStringLiteral("cb_displayedSensor"));
    setAccessibleName(tr("Sensor that the commands act on"));
    setToolTip(tr("The sensor that Export, Snapshot and the commands of the summary act on: the one whose display was "
                  "switched on last, or the one chosen here"));
    setSizeAdjustPolicy(QComboBox::AdjustToMinimumContentsLengthWithIcon);
    setMinimumContentsLength(fewestLetters);
    hide();
    connect(this, qOverload<int>(&QComboBox::activated), this,
            [this](int index) { emit chosen(itemData(index).toString()); });
}

void SensorChooser::setSensors(const QVector<Entry> &sensors, const QString &current)
{
    clear();
    int longest = 0;
    QPixmap swatch(iconSize());
    for (const Entry &entry : sensors) {
        swatch.fill(entry.colour);
        addItem(swatch, entry.name, entry.serial);
        longest = std::max(longest, entry.name.size());
    }
    setMinimumContentsLength(std::clamp(longest, fewestLetters, mostLetters));
    setCurrentIndex(findData(current));
    setVisible(sensors.size() > 1);
}
