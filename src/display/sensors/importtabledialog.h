#pragma once

#include "data/csvsamples.h"

#include <QByteArray>
#include <QDialog>

class QComboBox;
class QLabel;
class QPushButton;
class QTableWidget;

/// Shows the beginning of a text table as it will be read, so that the user can confirm or correct what was detected:
/// delimiter, decimal sign, time format, zone, columns. GUI thread; reads nothing but the bytes it is given.
class ImportTableDialog : public QDialog
{
    Q_OBJECT

public:
    ImportTableDialog(const QString &fileName, const QByteArray &beginning, const csvsamples::Preview &preview,
                      QWidget *parent = nullptr);

    const csvsamples::Layout &layoutOfTable() const { return m_layout; }

private:
    QComboBox *choice(const QString &name, const QString &accessibleName);
    void fillColumns();
    void choicesChanged();
    void showRows();

    const QByteArray m_beginning;
    QStringList m_columns;
    csvsamples::Layout m_layout;
    QComboBox *m_delimiter = nullptr;
    QComboBox *m_decimal = nullptr;
    QComboBox *m_time = nullptr;
    QComboBox *m_zone = nullptr;
    QComboBox *m_columnChoices[3] = {nullptr, nullptr, nullptr}; // time, voltage, current
    QTableWidget *m_rows = nullptr;
    QLabel *m_summary = nullptr;
    QPushButton *m_ok = nullptr;
    bool m_filling = true; // a box that gets its first entry has chosen nothing yet
};
