#pragma once

#include <QColor>
#include <QVector>
#include <QWidget>

class Theme;

/// The event types of a chart with their colours and counts. A click shows or hides a type. GUI thread.
class TypeLegend : public QWidget
{
    Q_OBJECT

public:
    struct Entry
    {
        QString name;
        QString text; // what stands there
        QColor colour;
        quint64 count = 0;
        bool shown = true;

        friend bool operator==(const Entry &a, const Entry &b)
        {
            return a.name == b.name && a.text == b.text && a.colour == b.colour && a.count == b.count &&
                   a.shown == b.shown;
        }
    };

    explicit TypeLegend(QWidget *parent = nullptr);

    void show(const QVector<Entry> &entries, const Theme &theme);
    using QWidget::show;

signals:
    void toggled(const QString &name, bool shown);

private:
    QVector<Entry> m_entries;
    bool m_dark = false;
};
