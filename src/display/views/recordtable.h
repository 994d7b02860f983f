#pragma once

#include "display/views/recordmodel.h"

#include <QTableView>
#include <QTimer>
#include <QWidget>

class AppSettings;
class EmptyPage;
class KeptColumns;
class QLabel;
class QLineEdit;
class QStackedLayout;
class QToolButton;

/// The table of a RecordModel. Ctrl+C copies the chosen rows, N and P step to the next and the previous one, and what
/// was chosen stays chosen when the rows change.
class RecordTable : public QTableView
{
    Q_OBJECT

public:
    explicit RecordTable(QWidget *parent = nullptr);

    void setRecords(RecordModel *model);
    /// Under this key of the settings.
    void keepColumns(AppSettings &settings, const QString &key);
    void choose(const RecordKey &key);
    void step(int by);
    void copy() const;

signals:
    /// The current row, by the user or by choose().
    void currentKeyChanged();

protected:
    void currentChanged(const QModelIndex &current, const QModelIndex &previous) override;
    void keyPressEvent(QKeyEvent *event) override;
    bool event(QEvent *event) override;

private:
    void fitColumns();
    void remember();
    void restore();

    RecordModel *m_records = nullptr;
    KeptColumns *m_kept = nullptr;
    QVector<RecordKey> m_chosen; // across a reset
    RecordKey m_current;
    int m_scroll = 0;
    bool m_restoring = false;
};

/// A list of runs or events: search field, the period it is limited to, the table, how many of how many there are, and
/// in place of an empty table the reason. Child of a view; GUI thread.
class RecordPanel : public QWidget
{
    Q_OBJECT

public:
    RecordPanel(RecordModel *model, const QString &what, QWidget *parent = nullptr);

    RecordTable *table() const { return m_table; }
    void setPeriod(const TimeRange &period);
    /// Why there is nothing, when that is not the search or the period; empty: there is something.
    void setReason(const QString &text, const QString &button);
    /// Words and buttons after a change of the model.
    void showState();
    /// A widget of the owner below the table.
    void addFooter(QWidget *widget);
    void showAll();

signals:
    /// The button under the owner's reason.
    void reasonPressed();
    /// Everything is to be shown again: the owner drops its filter, too.
    void allWanted();
    void periodDropped();

private:
    RecordModel *const m_model;
    const QString m_what; // "runs"
    QLineEdit *m_search;
    QToolButton *m_periodButton;
    RecordTable *m_table;
    EmptyPage *m_empty;
    QStackedLayout *m_stack;
    QLabel *m_count;
    QTimer m_searchTimer;
    QString m_reason;
    QString m_reasonButton;
};
