#pragma once

#include <QDialog>
#include <QString>
#include <QStringList>
#include <QVector>

class QCheckBox;
class QLabel;
class QLineEdit;
class QPushButton;

/// Asks under which sensor and chamber names the sensor folders of an import source become part of the session. GUI
/// thread; it changes nothing itself.
class ImportDialog : public QDialog
{
    Q_OBJECT

public:
    struct Folder
    {
        QString path;
        QString sensor;
        QString chamber;
    };

    /// `folders` with the names that are proposed; `known`: the sensors that the session has, each in its chamber.
    ImportDialog(const QVector<Folder> &folders, const QStringList &known, QWidget *parent = nullptr);

    /// Those that were chosen, with the names given.
    QVector<Folder> chosen() const;

private:
    struct Row
    {
        QString path;
        QCheckBox *take = nullptr;
        QLineEdit *sensor = nullptr;
        QLineEdit *chamber = nullptr;
    };

    void check();

    const QStringList m_known;
    QVector<Row> m_rows;
    QLabel *m_reason = nullptr;
    QPushButton *m_ok = nullptr;
};
