#pragma once

#include <QObject>
#include <QString>

class AppSettings;
class QSplitter;
class QTableView;

/// Gives a splitter the sizes it had when the program last ran, and keeps those that the user gives it.
void keepSplitter(QSplitter *splitter, AppSettings &settings, const QString &key);

/// Widths and order of a table's columns, and by which it is sorted, as the user left them when the program last ran.
/// Columns are known by their titles, so that others may come and go. Child of its table; the settings outlive it.
class KeptColumns : public QObject
{
    Q_OBJECT

public:
    KeptColumns(QTableView *table, AppSettings &settings, const QString &key);

    /// After the table has given its columns their usual widths.
    void apply();

private:
    QString titleOf(int column) const;
    void keepWidth(int column, int width);
    void keepOrder();

    QTableView *const m_table;
    AppSettings &m_settings;
    const QString m_key;
};
