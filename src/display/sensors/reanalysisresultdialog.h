#pragma once

#include "data/reanalysis.h"

#include <QDialog>

class QTableWidget;

/// What a reanalysis changed: from which class to which, and how many events. Accepted when the user wants to see the
/// events so. GUI thread.
class ReanalysisResultDialog : public QDialog
{
    Q_OBJECT

public:
    ReanalysisResultDialog(const QString &sensor, const reanalysis::Outcome &outcome, QWidget *parent = nullptr);

private:
    void fill(const reanalysis::Outcome &outcome);
    void copy() const;

    QTableWidget *m_table = nullptr;
};
