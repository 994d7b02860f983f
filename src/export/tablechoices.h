#pragma once

#include "export/exportformat.h"

#include <QStringList>
#include <QVariant>
#include <QWidget>

#include <functional>

class QCheckBox;
class QComboBox;
class QPushButton;

/// What an export for other programs offers beside its range: the format, which quantities, every sample or extremes
/// over stretches of time, and the session's other sensors. GUI thread.
class TableChoices : public QWidget
{
    Q_OBJECT

public:
    using Setting = std::function<QVariant(const QString &key, const QVariant &fallback)>;
    using KeepSetting = std::function<void(const QString &key, const QVariant &value)>;

    /// `others` is how many more sensors the session has.
    TableChoices(const Setting &setting, int others, QWidget *parent = nullptr);

    ExportFormat format() const;
    QStringList quantities() const { return m_quantities; } // empty for all
    quint64 binWidth() const;
    bool allSensors() const;
    void keep(const KeepSetting &keepSetting) const;

private:
    void chooseQuantities();
    void showQuantities();
    void formatChanged();

    QComboBox *m_format = nullptr;
    QComboBox *m_bins = nullptr;
    QPushButton *m_quantityButton = nullptr;
    QCheckBox *m_allSensors = nullptr;
    QStringList m_quantities;
    const int m_others;
};
