#pragma once

#include "base/clock.h"
#include "display/look/rowsarea.h"

#include <QHash>
#include <QString>

#include <memory>

class Theme;
class norvexData;

/// The big numbers of the live view: voltage, current and event count of each displayed sensor, with unit and age.
/// A value that is not fresh turns grey and then gives way to "no data": an old number never looks live. Many sensors
/// stand in several rows, in smaller digits; two rows are shown and the rest is scrolled to, since the plot needs the
/// room. GUI thread.
class LiveNumbers : public RowsArea
{
    Q_OBJECT

public:
    explicit LiveNumbers(Theme &theme, QWidget *parent = nullptr, const Clock &clock = systemClock());
    ~LiveNumbers() override;

    void addSensor(const QString &serial, const std::shared_ptr<norvexData> &store, const QString &colour);
    void removeSensor(const QString &serial);
    /// Reads the newest samples and shows them.
    void refresh();

protected:
    void resizeEvent(QResizeEvent *event) override;

private:
    struct Row;
    void style(Row &row);
    void fitDigits();

    Theme &m_theme;
    const Clock &m_clock;
    QHash<QString, std::shared_ptr<Row>> m_rows;
};
