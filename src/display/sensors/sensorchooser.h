#pragma once

#include <QColor>
#include <QComboBox>
#include <QString>
#include <QVector>

/// Says which of the displayed sensors the commands act on, and lets the user choose another; hidden while there is no
/// choice. GUI thread.
class SensorChooser : public QComboBox
{
    Q_OBJECT

public:
    struct Entry
    {
        QString serial;
        QString name;
        QColor colour;
    };

    explicit SensorChooser(QWidget *parent = nullptr);

    void setSensors(const QVector<Entry> &sensors, const QString &current);

signals:
    void chosen(const QString &serial);
};
