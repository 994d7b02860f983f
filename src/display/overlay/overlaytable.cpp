#include "display/overlay/overlaytable.h"

#include "display/look/theme.h"
#include "display/plot/valueaxis.h"
#include "display/records/runstatistics.h"

#include <QFont>

#include <algorithm>
#include <cmath>

namespace {

/// Microseconds tell nothing of a run, and take room.
QString lengthText(quint64 length)
{
    constexpr quint64 second = 1000000;
    if (length < second || length >= 60 * second)
        return preciseDuration(length);
    return QString::number(double(length) / second, 'f', 3) + QStringLiteral(" s");
}

} // namespace

OverlayTable::OverlayTable(const Theme &theme, QObject *parent) : QAbstractTableModel(parent), m_theme(theme) {}

int OverlayTable::add(const QVector<OverlayEntry> &entries)
{
    QVector<OverlayEntry> fresh;
    for (const OverlayEntry &entry : entries) {
        if (find(entry.kind, entry.serial, entry.start, entry.typeCode) < 0)
            fresh.append(entry);
    }
    if (fresh.isEmpty())
        return 0;
    beginInsertRows({}, m_entries.size(), m_entries.size() + fresh.size() - 1);
    m_entries += fresh;
    endInsertRows();
    announce();
    return fresh.size();
}

void OverlayTable::remove(QVector<int> rows)
{
    std::sort(rows.begin(), rows.end(), std::greater<int>());
    rows.erase(std::unique(rows.begin(), rows.end()), rows.end());
    for (const int row : qAsConst(rows)) {
        beginRemoveRows({}, row, row);
        m_entries.removeAt(row);
        endRemoveRows();
    }
    if (!rows.isEmpty())
        announce();
}

void OverlayTable::removeSensor(const QString &serial)
{
    QVector<int> rows;
    for (int row = 0; row < m_entries.size(); ++row) {
        if (m_entries[row].serial == serial)
            rows.append(row);
    }
    remove(rows);
}

void OverlayTable::clear(OverlayEntry::Kind kind)
{
    beginResetModel();
    m_entries.erase(std::remove_if(m_entries.begin(), m_entries.end(),
                                   [kind](const OverlayEntry &entry) { return entry.kind == kind; }),
                    m_entries.end());
    endResetModel();
    announce();
}

void OverlayTable::announce()
{
    emit overlayTableUpdated(count(OverlayEntry::Run), count(OverlayEntry::Event));
    emit curvesChanged();
}

int OverlayTable::count(OverlayEntry::Kind kind) const
{
    return int(std::count_if(m_entries.begin(), m_entries.end(),
                             [kind](const OverlayEntry &entry) { return entry.kind == kind; }));
}

int OverlayTable::find(OverlayEntry::Kind kind, const QString &serial, quint64 start, qint32 typeCode) const
{
    const auto found = std::find_if(m_entries.begin(), m_entries.end(), [&](const OverlayEntry &entry) {
        return entry.start == start && entry.kind == kind && entry.typeCode == typeCode && entry.serial == serial;
    });
    return found == m_entries.end() ? -1 : int(found - m_entries.begin());
}

void OverlayTable::setSeries(const OverlayEntry &of, std::shared_ptr<SeriesBlock> series)
{
    const int row = find(of.kind, of.serial, of.start, of.typeCode);
    if (row < 0)
        return;
    m_entries[row].state = series ? OverlayEntry::Read : OverlayEntry::Missing;
    m_entries[row].series = std::move(series);
    emit dataChanged(index(row, 0), index(row, columnTotal - 1));
    emit curvesChanged();
}

void OverlayTable::setType(int row, const QString &type)
{
    if (m_entries.at(row).type == type)
        return;
    m_entries[row].type = type;
    emit dataChanged(index(row, 0), index(row, columnTotal - 1));
}

void OverlayTable::setDistances(const QVector<int> &rows, const QVector<double> &distances, const QString &unit)
{
    m_unit = unit;
    QVector<double> known;
    for (int i = 0; i < rows.size(); ++i)
        known.append(distances.value(i, std::nan("")));
    const QVector<double> scores = robustScores(known, QVector<int>(rows.size()));
    for (int i = 0; i < rows.size(); ++i) {
        OverlayEntry &entry = m_entries[rows[i]];
        entry.distance = std::isfinite(known[i]) ? known[i] : -1;
        entry.score = std::max(0.0, scores[i]);
    }
    if (!m_entries.isEmpty())
        emit dataChanged(index(0, Distance), index(rowCount() - 1, Distance));
}

void OverlayTable::setColour(int row, const QColor &colour)
{
    m_entries[row].colour = colour;
    emit dataChanged(index(row, Colour), index(row, Colour));
    emit curvesChanged();
}

void OverlayTable::setTimeMode(TimeMode mode)
{
    // Elapsed time belongs to a session; a start stays a moment.
    m_time.setMode(mode == TimeMode::Elapsed ? TimeMode::Utc : mode);
    if (!m_entries.isEmpty())
        emit dataChanged(index(0, Start), index(rowCount() - 1, Start));
}

int OverlayTable::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : m_entries.size();
}

QString OverlayTable::cellText(const OverlayEntry &entry, int column) const
{
    switch (column) {
    case Number:
        return entry.kind == OverlayEntry::Run ? tr("Run %1").arg(entry.number) : tr("Event %1").arg(entry.number);
    case Sensor:
        return entry.sensor;
    case Type:
        return entry.type;
    case Start:
        return m_time.shortMoment(entry.start);
    case Length:
        return entry.end > entry.start ? lengthText(entry.end - entry.start) : QString();
    case Distance:
        if (entry.state != OverlayEntry::Read)
            return entry.state == OverlayEntry::Waiting ? tr("reading...") : tr("no samples");
        return entry.distance < 0 ? QString() : valueText(entry.distance, m_unit, 3);
    default:
        return QString();
    }
}

int OverlayTable::alignment(int column)
{
    return int(Qt::AlignVCenter | (column == Distance || column == Length ? Qt::AlignRight : Qt::AlignLeft));
}

QVariant OverlayTable::sortValue(const OverlayEntry &entry, int column) const
{
    switch (column) {
    case Number:
        return entry.number;
    case Colour:
        return entry.visible;
    case Start:
        return entry.start;
    case Length:
        return entry.end - entry.start;
    case Distance:
        return entry.distance;
    default:
        return cellText(entry, column);
    }
}

QVariant OverlayTable::data(const QModelIndex &index, int role) const
{
    if (!index.isValid() || index.row() >= m_entries.size())
        return {};
    const OverlayEntry &entry = m_entries[index.row()];
    const bool odd = index.column() == Distance && isOutOfFamily(entry.score);
    switch (role) {
    case Qt::DisplayRole:
        return odd ? QString(QChar(0x25b2)) + QLatin1Char(' ') + cellText(entry, index.column())
                   : cellText(entry, index.column());
    case Qt::CheckStateRole:
        return index.column() == Number ? QVariant(int(entry.visible ? Qt::Checked : Qt::Unchecked)) : QVariant();
    case Qt::DecorationRole:
        return index.column() == Colour ? QVariant(m_theme.themed(entry.colour)) : QVariant();
    case Qt::ToolTipRole:
        if (odd)
            return tr("The odd one out: its distance from the median of the overlay is %1 robust standard deviations "
                      "above that of the others")
                .arg(entry.score, 0, 'f', 1);
        return index.column() == Colour ? tr("Double click changes the colour") : cellText(entry, index.column());
    case Qt::AccessibleTextRole:
        return index.column() == Colour ? entry.colour.name() : cellText(entry, index.column());
    case Qt::TextAlignmentRole:
        return alignment(index.column());
    case Qt::ForegroundRole:
        if (odd)
            return m_theme.bad();
        return entry.visible ? QVariant() : QVariant(m_theme.mutedText());
    case Qt::FontRole: {
        QFont font;
        font.setBold(odd);
        return odd ? QVariant(font) : QVariant();
    }
    case SortRole:
        return sortValue(entry, index.column());
    default:
        return {};
    }
}

bool OverlayTable::setData(const QModelIndex &index, const QVariant &value, int role)
{
    if (!index.isValid() || role != Qt::CheckStateRole || index.column() != Number)
        return false;
    m_entries[index.row()].visible = value.toInt() == Qt::Checked;
    emit dataChanged(this->index(index.row(), 0), this->index(index.row(), columnTotal - 1));
    emit curvesChanged();
    return true;
}

Qt::ItemFlags OverlayTable::flags(const QModelIndex &index) const
{
    const Qt::ItemFlags flags = Qt::ItemIsEnabled | Qt::ItemIsSelectable | Qt::ItemNeverHasChildren;
    return index.column() == Number ? flags | Qt::ItemIsUserCheckable : flags;
}

QVariant OverlayTable::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (orientation != Qt::Horizontal)
        return {};
    if (role == Qt::ToolTipRole && section == Distance)
        return tr("Root mean square distance of the curve from the median of the overlay");
    if (role == Qt::TextAlignmentRole)
        return alignment(section);
    if (role != Qt::DisplayRole)
        return {};
    static const QStringList names{tr("Number"), QString(),    tr("From median"), tr("Length"),
                                   tr("Start"),  tr("Sensor"), tr("Type")};
    return names.value(section);
}

QString OverlayTable::toText(const QVector<int> &rows) const
{
    QString text = tr("Number\tSensor\tType\tStart\tLength [us]\tFrom median [%1]\n").arg(m_unit);
    for (const int row : rows) {
        const OverlayEntry &entry = m_entries[row];
        const QStringList cells{cellText(entry, Number),
                                entry.sensor,
                                entry.type,
                                m_time.moment(entry.start),
                                QString::number(entry.end - entry.start),
                                entry.distance < 0 ? QString() : QString::number(entry.distance, 'g', 8)};
        text += cells.join(QLatin1Char('\t')) + QLatin1Char('\n');
    }
    return text;
}
