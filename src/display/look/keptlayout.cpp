#include "display/look/keptlayout.h"

#include "session/appsettings.h"

#include <QGuiApplication>
#include <QHeaderView>
#include <QSplitter>
#include <QTableView>

#include <algorithm>

namespace {

constexpr int widest = 2000; // pixels; what is kept may come from another screen
constexpr int narrowest = 16;

/// Sections also move and change when columns come or are fitted.
bool isByUser()
{
    return QGuiApplication::mouseButtons() != Qt::NoButton;
}

} // namespace

void keepSplitter(QSplitter *splitter, AppSettings &settings, const QString &key)
{
    splitter->restoreState(settings.value(key).toByteArray());
    QObject::connect(splitter, &QSplitter::splitterMoved, splitter,
                     [splitter, &settings, key] { settings.setValue(key, splitter->saveState()); });
}

KeptColumns::KeptColumns(QTableView *table, AppSettings &settings, const QString &key)
    : QObject(table), m_table(table), m_settings(settings), m_key(key)
{
    const QHeaderView *header = table->horizontalHeader();
    connect(header, &QHeaderView::sectionResized, this, [this](int column, int, int width) {
        if (isByUser() && width > 0)
            keepWidth(column, width);
    });
    connect(header, &QHeaderView::sectionMoved, this, [this] {
        if (isByUser())
            keepOrder();
    });
    connect(header, &QHeaderView::sortIndicatorChanged, this, [this](int column, Qt::SortOrder order) {
        if (!isByUser())
            return;
        m_settings.setValue(m_key + QStringLiteral("/sortColumn"), titleOf(column));
        m_settings.setValue(m_key + QStringLiteral("/sortDescending"), order == Qt::DescendingOrder);
    });
}

QString KeptColumns::titleOf(int column) const
{
    return m_table->model()->headerData(column, Qt::Horizontal).toString();
}

void KeptColumns::keepWidth(int column, int width)
{
    QVariantMap widths = m_settings.value(m_key + QStringLiteral("/widths")).toMap();
    widths.insert(titleOf(column), width);
    m_settings.setValue(m_key + QStringLiteral("/widths"), widths);
}

void KeptColumns::keepOrder()
{
    QStringList titles;
    for (int place = 0; place < m_table->horizontalHeader()->count(); ++place)
        titles.append(titleOf(m_table->horizontalHeader()->logicalIndex(place)));
    m_settings.setValue(m_key + QStringLiteral("/order"), titles);
}

void KeptColumns::apply()
{
    QHeaderView *header = m_table->horizontalHeader();
    const QVariantMap widths = m_settings.value(m_key + QStringLiteral("/widths")).toMap();
    const QStringList order = m_settings.value(m_key + QStringLiteral("/order")).toStringList();
    const QString sorted = m_settings.value(m_key + QStringLiteral("/sortColumn")).toString();
    int place = 0;
    for (const QString &title : order) {
        for (int column = 0; column < header->count(); ++column) {
            if (titleOf(column) == title)
                header->moveSection(header->visualIndex(column), place++);
        }
    }
    for (int column = 0; column < header->count(); ++column) {
        const int width = widths.value(titleOf(column)).toInt();
        if (width > 0)
            header->resizeSection(column, std::clamp(width, narrowest, widest));
        const bool descending = m_settings.value(m_key + QStringLiteral("/sortDescending")).toBool();
        if (!sorted.isEmpty() && titleOf(column) == sorted && m_table->isSortingEnabled())
            m_table->sortByColumn(column, descending ? Qt::DescendingOrder : Qt::AscendingOrder);
    }
}
