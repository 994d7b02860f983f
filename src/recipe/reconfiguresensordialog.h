#pragma once

#include "recipe/sensorconfiguration.h"

#include <QDialog>
#include <QVector>

class QDialogButtonBox;
class QLabel;
class QLineEdit;
class Prompts;

/// Edits a sensor's detection configuration: one control for each field, with its unit, range and meaning; changed
/// fields are marked. Titled "Configure Sensor" it is for the sensor, titled "Configure Reanalysis" for analysing
/// stored data again. OK is disabled while a value makes no sense, with the reason beside it. GUI thread.
class reconfigureSensordialog : public QDialog
{
    Q_OBJECT

public:
    reconfigureSensordialog(const QString &title, const SensorConfiguration &configuration, Prompts &prompts,
                            QWidget *parent = nullptr);

    /// What the controls hold now.
    SensorConfiguration configuration() const;
    void setConfiguration(const SensorConfiguration &configuration);
    /// Says above the fields whose configuration this is.
    void setSubject(const QString &text);

signals:
    /// OK was pressed; configuration() is what the user wants.
    void configUpdated();

public slots:
    void accept() override;
    void loadConfiguration();
    void saveConfiguration();
    void restoreOriginal();

private:
    struct Row
    {
        int field = 0; // index into configurationFields()
        QLabel *name = nullptr;
        QVector<QWidget *> editors; // two for the frequency window
    };

    QWidget *addGroup(const QString &title, const QStringList &keys);
    QWidget *makeEditor(int field, int part);
    void valuesChanged();

    Prompts &m_prompts;
    const SensorConfiguration m_original;
    SensorConfiguration m_filledIn; // what the controls were filled with last; they round
    QVector<Row> m_rows;
    QLabel *m_subject = nullptr;
    QLabel *m_reason = nullptr;
    QDialogButtonBox *m_buttons = nullptr;
    bool m_filling = false;
};
