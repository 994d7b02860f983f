#pragma once

#include "events/eventfilter.h"

#include <QHash>
#include <QIcon>
#include <QWidget>

#include <functional>

class QCheckBox;
class QLabel;
class QPushButton;
class QVBoxLayout;

/// The event filter as a column of check boxes: one for each name of the dictionary, with its colour and how many
/// events there are, the user's types below the built-in ones. GUI thread; filter and dictionary must outlive it.
class eventFilterPanel : public QWidget
{
    Q_OBJECT

public:
    eventFilterPanel(eventTypeFilter &filter, const eventTypeNames &dictionary, QWidget *parent = nullptr);

    /// How many events bear each name, by the name they are shown under; names that are missing have none.
    void setCounts(const QHash<QString, int> &counts);
    /// Draws the icon of a name, for displays that mark events in their own way; the default is the name's colour.
    void setIconSource(std::function<QIcon(const QString &name)> source);
    /// What is going on with the user's types ("Matching 40 %"), empty for nothing.
    void setActivity(const QString &text);

public slots:
    void showAll();
    void showNone();

signals:
    /// The user wants to make or delete types.
    void typesRequested();

protected:
    void changeEvent(QEvent *event) override;

private:
    struct Row
    {
        QString name;
        QCheckBox *box;
        QLabel *count;
    };

    void rebuild();
    void addRow(QVBoxLayout *column, const QString &name);
    void showFilter();
    void showCounts();
    void showIcons();

    eventTypeFilter &m_filter;
    const eventTypeNames &m_dictionary;
    std::function<QIcon(const QString &)> m_iconSource;
    QHash<QString, int> m_counts;
    QVector<Row> m_rows;
    QVBoxLayout *m_outer = nullptr;
    QWidget *m_names = nullptr; // made anew with the dictionary
    QLabel *m_summary = nullptr;
    QLabel *m_activity = nullptr;
    QPushButton *m_showAll = nullptr;
    QPushButton *m_showNone = nullptr;
};
