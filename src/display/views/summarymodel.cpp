#include "display/views/summarymodel.h"

#include "display/look/theme.h"
#include "display/plot/valueaxis.h"

#include <QFont>
#include <QHash>

#include <algorithm>
#include <numeric>

namespace {

// The columns whose values are compared with those of other runs; the last stands for the total.
constexpr std::array<int, 4> scored{SummaryModel::Duration, SummaryModel::MeanVoltage, SummaryModel::MeanCurrent, -1};

} // namespace

SummaryModel::SummaryModel(const Theme &theme, QObject *parent) : QAbstractTableModel(parent), m_theme(theme) {}

void SummaryModel::setRows(QVector<SummaryRow> rows, const QStringList &sensors, const QStringList &types)
{
    beginResetModel();
    m_rows = std::move(rows);
    m_sensors = sensors;
    m_types = types;
    computeScores();
    arrange();
    endResetModel();
}

void SummaryModel::setTimeMode(TimeMode mode, quint64 origin)
{
    m_time.setMode(mode);
    m_time.setOrigin(origin);
    if (!m_rows.isEmpty())
        emit dataChanged(index(0, Start), index(rowCount() - 1, End));
    emit headerDataChanged(Qt::Horizontal, Start, End);
}

void SummaryModel::computeScores()
{
    QHash<QString, int> numbers;
    QVector<int> families;
    for (const SummaryRow &row : qAsConst(m_rows)) {
        const QString family = row.serial + QLatin1Char('\n') + row.run.recipe.recipeName();
        families.append(numbers.insert(family, numbers.value(family, numbers.size())).value());
    }
    m_scores.resize(m_rows.size());
    for (std::size_t k = 0; k < scored.size(); ++k) {
        QVector<double> values;
        for (const SummaryRow &row : qAsConst(m_rows))
            values.append(value(row, scored[k] < 0 ? totalColumn() : scored[k]));
        const QVector<double> scores = robustScores(values, families);
        for (int i = 0; i < scores.size(); ++i)
            m_scores[i][k] = scores[i];
    }
}

double SummaryModel::score(int row, int column) const
{
    const auto found = std::find(scored.begin(), scored.end(), column == totalColumn() ? -1 : column);
    return found == scored.end() ? 0.0 : m_scores[row][std::size_t(found - scored.begin())];
}

int SummaryModel::markedCount() const
{
    return int(std::count_if(m_scores.begin(), m_scores.end(), [](const auto &scores) {
        return std::any_of(scores.begin(), scores.end(), isOutOfFamily);
    }));
}

// --- order

double SummaryModel::value(const SummaryRow &row, int column) const
{
    switch (column) {
    case Run:
        return row.number;
    case Sensor:
        return row.sensor;
    case Start:
        return double(row.run.start);
    case End:
        return double(row.run.end);
    case Duration:
        return row.duration();
    case MeanVoltage:
        return row.run.meanVoltage;
    case MeanCurrent:
        return row.run.meanCurrent;
    default:
        return column == totalColumn() ? row.total : row.counts.value(column - FirstType);
    }
}

void SummaryModel::arrange()
{
    m_order.resize(m_rows.size());
    std::iota(m_order.begin(), m_order.end(), 0);
    if (m_sortColumn < 0)
        return;
    const bool descending = m_sortOrder == Qt::DescendingOrder;
    if (m_sortColumn == RecipeName) {
        QVector<QString> keys;
        for (const SummaryRow &row : qAsConst(m_rows))
            keys.append(row.run.recipe.recipeName());
        std::stable_sort(m_order.begin(), m_order.end(),
                         [&](int a, int b) { return descending ? keys[b] < keys[a] : keys[a] < keys[b]; });
        return;
    }
    QVector<double> keys;
    keys.reserve(m_rows.size());
    for (const SummaryRow &row : qAsConst(m_rows))
        keys.append(value(row, m_sortColumn));
    std::stable_sort(m_order.begin(), m_order.end(),
                     [&](int a, int b) { return descending ? keys[b] < keys[a] : keys[a] < keys[b]; });
}

void SummaryModel::sort(int column, Qt::SortOrder order)
{
    if (column >= columnCount())
        return;
    emit layoutAboutToBeChanged({}, QAbstractItemModel::VerticalSortHint);
    const QModelIndexList before = persistentIndexList();
    QVector<int> rowOf;
    for (const QModelIndex &index : before)
        rowOf.append(m_order[index.row()]);
    m_sortColumn = column;
    m_sortOrder = order;
    arrange();
    QVector<int> placeOf(m_order.size());
    for (int place = 0; place < m_order.size(); ++place)
        placeOf[m_order[place]] = place;
    QModelIndexList after;
    for (int i = 0; i < before.size(); ++i)
        after.append(index(placeOf[rowOf[i]], before[i].column()));
    changePersistentIndexList(before, after);
    emit layoutChanged({}, QAbstractItemModel::VerticalSortHint);
}

int SummaryModel::find(const QString &serial, quint64 start) const
{
    const auto found = std::find_if(m_order.begin(), m_order.end(),
                                    [&](int i) { return m_rows[i].run.start == start && m_rows[i].serial == serial; });
    return found == m_order.end() ? -1 : int(found - m_order.begin());
}

// --- cells

int SummaryModel::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : m_rows.size();
}

int SummaryModel::columnCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : totalColumn() + 1;
}

bool SummaryModel::hasStatistics(int column) const
{
    return column >= Duration && column != RecipeName;
}

QString SummaryModel::valueText(int column, double value) const
{
    switch (column) {
    case Duration:
        return preciseDuration(quint64(std::max(0.0, value) * 1e6 + 0.5));
    case MeanVoltage:
        return QStringLiteral("%1 V").arg(value, 0, 'f', 2);
    case MeanCurrent:
        return QStringLiteral("%1 A").arg(value, 0, 'f', 3);
    default:
        return QString::number(value, 'g', 10);
    }
}

QString SummaryModel::cellText(const SummaryRow &row, int column) const
{
    switch (column) {
    case Sensor:
        return m_sensors.value(row.sensor);
    case Start:
        return m_time.moment(row.run.start);
    case End:
        return m_time.moment(row.run.end);
    case RecipeName:
        return row.run.recipe.recipeName();
    default:
        return valueText(column, value(row, column));
    }
}

QString SummaryModel::copyText(const SummaryRow &row, int column) const
{
    if (column == Duration || column == MeanVoltage || column == MeanCurrent)
        return QString::number(value(row, column), 'g', 10); // without its unit, which the header has
    return cellText(row, column).replace(QLatin1Char('\t'), QLatin1Char(' '));
}

QString SummaryModel::markText(int row, int column) const
{
    const double deviations = score(row, column);
    const QString recipe = m_rows[row].run.recipe.recipeName();
    return tr("%1 robust standard deviations %2 the median of the runs %3")
        .arg(QString::number(std::abs(deviations), 'f', 1), deviations > 0 ? tr("above") : tr("below"),
             recipe.isEmpty() ? tr("without a recipe") : tr("of recipe \"%1\"").arg(recipe));
}

QVariant SummaryModel::data(const QModelIndex &index, int role) const
{
    if (!index.isValid() || index.row() >= m_order.size())
        return {};
    const int at = m_order[index.row()];
    const SummaryRow &row = m_rows[at];
    const int column = index.column();
    const double deviations = score(at, column);
    const bool marked = isOutOfFamily(deviations);
    switch (role) {
    case Qt::DisplayRole: {
        const QString text =
            column == Start || column == End ? m_time.shortMoment(quint64(value(row, column))) : cellText(row, column);
        if (!marked)
            return text;
        return QString(QChar(deviations > 0 ? 0x25b2 : 0x25bc)) + QLatin1Char(' ') + text;
    }
    case CopyRole:
        return copyText(row, column);
    case Qt::ToolTipRole:
        return marked ? markText(at, column) : column == Start || column == End ? cellText(row, column) : QString();
    case Qt::TextAlignmentRole:
        return int(Qt::AlignVCenter | (column == RecipeName || column == Sensor ? Qt::AlignLeft : Qt::AlignRight));
    case Qt::ForegroundRole:
        if (marked)
            return m_theme.bad();
        return column >= FirstType && value(row, column) == 0 ? QVariant(m_theme.mutedText()) : QVariant();
    case Qt::FontRole:
        if (marked) {
            QFont font;
            font.setBold(true);
            return font;
        }
        return {};
    default:
        return {};
    }
}

QVariant SummaryModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (orientation != Qt::Horizontal)
        return {};
    static const QStringList names{tr("Run"),      tr("Sensor"), tr("Start"),  tr("End"),
                                   tr("Duration"), tr("Mean V"), tr("Mean I"), tr("Recipe")};
    static const QStringList units{QString(), QString(), QString(), QString(), tr("s"), tr("V"), tr("A"), QString()};
    if (role == Qt::TextAlignmentRole)
        return int(Qt::AlignVCenter | (section == RecipeName || section == Sensor ? Qt::AlignLeft : Qt::AlignRight));
    if (role != Qt::DisplayRole && role != CopyRole)
        return {};
    if (section >= FirstType)
        return section == totalColumn() ? tr("Total") : m_types.value(section - FirstType);
    const QString name = names.value(section);
    if (role == Qt::DisplayRole && (section == Start || section == End))
        return QStringLiteral("%1 (%2)").arg(name, m_time.modeText());
    if (role == CopyRole && !units.value(section).isEmpty())
        return QStringLiteral("%1 [%2]").arg(name, units.at(section));
    return name;
}

QString SummaryModel::toText(const QVector<int> &rows) const
{
    QString text;
    for (int column = 0; column < columnCount(); ++column)
        text += (column ? QStringLiteral("\t") : QString()) + headerData(column, Qt::Horizontal, CopyRole).toString();
    for (const int place : rows) {
        text += QLatin1Char('\n');
        for (int column = 0; column < columnCount(); ++column)
            text += (column ? QStringLiteral("\t") : QString()) + copyText(row(place), column);
    }
    return text + QLatin1Char('\n');
}

// --- totals

SummaryTotals::SummaryTotals(const SummaryModel &summary, QObject *parent)
    : QAbstractTableModel(parent), m_summary(summary)
{
    connect(&summary, &QAbstractItemModel::modelAboutToBeReset, this, [this] { beginResetModel(); });
    connect(&summary, &QAbstractItemModel::modelReset, this, [this] {
        compute();
        endResetModel();
    });
    compute();
}

void SummaryTotals::compute()
{
    m_columns.fill({}, m_summary.columnCount());
    for (int row = 0; row < m_summary.rowCount(); ++row) {
        for (int column = SummaryModel::Duration; column < m_columns.size(); ++column)
            m_columns[column].add(m_summary.value(m_summary.row(row), column));
    }
}

QVariant SummaryTotals::data(const QModelIndex &index, int role) const
{
    const int column = index.column();
    if (role == Qt::TextAlignmentRole)
        return int(Qt::AlignVCenter | Qt::AlignRight);
    if (role == Qt::FontRole && index.row() == 0) {
        QFont font;
        font.setBold(true);
        return font;
    }
    if (role != Qt::DisplayRole)
        return {};
    static const QStringList names{tr("Total"), tr("Mean"), tr("Min"), tr("Max")};
    if (column == SummaryModel::Run)
        return names.value(index.row());
    if (column == SummaryModel::Start && index.row() == 0)
        return m_summary.rowCount() == 1 ? tr("1 run") : tr("%1 runs").arg(m_summary.rowCount());
    if (!m_summary.hasStatistics(column) || m_columns.value(column).count == 0)
        return {};
    const ValueStatistics &values = m_columns[column];
    const bool summable = column != SummaryModel::MeanVoltage && column != SummaryModel::MeanCurrent;
    switch (index.row()) {
    case 0:
        return summable ? m_summary.valueText(column, values.sum) : QString();
    case 1:
        return column >= SummaryModel::FirstType ? QString::number(values.mean(), 'f', 2)
                                                 : m_summary.valueText(column, values.mean());
    case 2:
        return m_summary.valueText(column, values.low);
    default:
        return m_summary.valueText(column, values.high);
    }
}
