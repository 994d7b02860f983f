#include "display/views/recordmodel.h"

#include "data/norvexdata.h"

#include <algorithm>

RecordModel::RecordModel(QVector<Column> columns, int sortColumn, Qt::SortOrder order, QObject *parent)
    : QAbstractTableModel(parent), m_columns(std::move(columns)), m_sortColumn(sortColumn), m_order(order)
{}

void RecordModel::setSensors(const Sensors &sensors)
{
    quint64 origin = 0;
    for (const SessionRecords::Sensor &sensor : sensors) {
        const quint64 first = sensor.view.on ? sensor.view.store->firstTime() : 0;
        origin = origin == 0 || (first != 0 && first < origin) ? first : origin;
    }
    m_timeAxis.setOrigin(origin);
    adopt(sensors);
}

void RecordModel::setSearch(const QString &text)
{
    m_words = text.split(QLatin1Char(' '), Qt::SkipEmptyParts);
    rebuild();
}

void RecordModel::setPeriod(const TimeRange &period)
{
    m_period = period;
    rebuild();
}

void RecordModel::setTimeMode(TimeMode mode)
{
    m_timeAxis.setMode(mode);
    if (m_words.isEmpty())
        redraw();
    else
        rebuild();
}

void RecordModel::setSensorIcon(std::function<QIcon(const ViewSensor &)> icon)
{
    m_sensorIcon = std::move(icon);
    m_sensorIcons.clear();
    redraw();
}

QVariant RecordModel::sensorIcon(const ViewSensor &sensor) const
{
    if (!m_sensorIcon || m_sensors.size() < 2)
        return {};
    auto icon = m_sensorIcons.find(sensor.serial);
    if (icon == m_sensorIcons.end())
        icon = m_sensorIcons.insert(sensor.serial, m_sensorIcon(sensor));
    return *icon;
}

void RecordModel::sort(int column, Qt::SortOrder order)
{
    m_sortColumn = column;
    m_order = order;
    rebuild();
}

void RecordModel::rebuild()
{
    adopt(Sensors(m_sensors));
}

void RecordModel::setColumns(const QVector<Column> &columns)
{
    if (columns == m_columns)
        return redraw();
    beginResetModel();
    const QString sorted = m_columns.value(m_sortColumn).title;
    m_columns = columns;
    const auto at = std::find_if(columns.begin(), columns.end(), [&](const Column &c) { return c.title == sorted; });
    m_sortColumn = at == columns.end() ? 0 : int(at - columns.begin());
    endResetModel();
    emit headerDataChanged(Qt::Horizontal, 0, columns.size() - 1);
    rebuild();
}

void RecordModel::redraw()
{
    if (!m_places.empty())
        emit dataChanged(index(0, 0), index(rowCount() - 1, columnCount() - 1));
    emit headerDataChanged(Qt::Horizontal, 0, columnCount() - 1);
}

bool RecordModel::matches(const Place &place) const
{
    const TimeRange time = range(place);
    if (!m_period.isEmpty() && (time.from >= m_period.to || std::max(time.from + 1, time.to) <= m_period.from))
        return false;
    if (!accepts(place))
        return false;
    return std::all_of(m_words.begin(), m_words.end(), [&](const QString &word) {
        const bool hasDigit = std::any_of(word.begin(), word.end(), [](QChar c) { return c.isDigit(); });
        for (int column = 0; column < m_columns.size(); ++column) {
            const Column &look = m_columns.at(column);
            if (look.number || (look.isTime && !hasDigit)) // writing a time costs most
                continue;
            if (cell(place, column).contains(word, Qt::CaseInsensitive))
                return true;
        }
        return false;
    });
}

std::vector<RecordModel::Place> RecordModel::chosen()
{
    std::vector<Place> places;
    m_total = 0;
    for (int s = 0; s < m_sensors.size(); ++s) {
        if (!m_sensors.at(s).view.on)
            continue;
        const int all = count(m_sensors.at(s));
        m_total += all;
        for (int i = 0; i < all; ++i)
            if (matches({s, i}))
                places.push_back({s, i});
    }
    const bool descending = m_order == Qt::DescendingOrder;
    const auto before = [&](const Place &a, const Place &b) {
        int difference = compare(a, b, m_sortColumn);
        if (difference == 0)
            difference = order(range(a).from, range(b).from);
        if (difference == 0)
            difference = a.sensor != b.sensor ? a.sensor - b.sensor : a.index - b.index;
        return descending ? difference > 0 : difference < 0;
    };
    if (!std::is_sorted(places.begin(), places.end(), before)) // usually it is: records come by time
        std::sort(places.begin(), places.end(), before);
    return places;
}

// A view may ask for the old rows until the change is announced, so the new ones are made with the records put in
// place for a moment.
void RecordModel::adopt(const Sensors &sensors)
{
    const Sensors before = m_sensors;
    m_sensors = sensors;
    std::vector<Place> places = chosen();
    std::vector<RowId> ids;
    ids.reserve(places.size());
    for (const Place &place : places)
        ids.push_back(idOf(place));
    const auto shorter = std::min(ids.size(), m_ids.size());
    std::size_t head = 0;
    while (head < shorter && ids[head] == m_ids[head])
        ++head;
    std::size_t tail = 0;
    while (tail < shorter - head && ids[ids.size() - 1 - tail] == m_ids[m_ids.size() - 1 - tail])
        ++tail;
    const bool sameSensors = std::equal(before.begin(), before.end(), sensors.begin(), sensors.end(),
                                        [](const auto &a, const auto &b) { return a.view.serial == b.view.serial; });
    const bool onlyMore = sameSensors && head + tail == m_ids.size() && !m_ids.empty();
    m_sensors = before;
    const std::size_t more = ids.size() - std::min(ids.size(), m_ids.size());
    if (!onlyMore)
        beginResetModel();
    else if (more > 0)
        beginInsertRows({}, int(head), int(head + more) - 1);
    m_sensors = sensors;
    m_places = std::move(places);
    m_ids = std::move(ids);
    if (!onlyMore)
        endResetModel();
    else if (more > 0)
        endInsertRows();
    if (onlyMore)
        redraw();
}

RecordKey RecordModel::key(int row) const
{
    if (row < 0 || row >= rowCount())
        return {};
    const Place at = place(row);
    return {sensorOf(at).view.serial, range(at).from, typeCode(at)};
}

int RecordModel::rowOf(const RecordKey &wanted) const
{
    for (std::size_t row = 0; row < m_ids.size(); ++row)
        if (m_ids[row].time == wanted.time && m_ids[row].typeCode == wanted.typeCode &&
            m_sensors.at(m_ids[row].sensor).view.serial == wanted.sensor)
            return int(row);
    return -1;
}

QString RecordModel::text(const QVector<int> &rows) const
{
    QStringList line;
    for (const Column &column : m_columns)
        line.append(column.title);
    QString text = line.join(QLatin1Char('\t')) + QLatin1Char('\n');
    for (const int row : rows) {
        line.clear();
        for (int column = 0; column < m_columns.size(); ++column)
            line.append(cell(place(row), column));
        text += line.join(QLatin1Char('\t')) + QLatin1Char('\n');
    }
    return text;
}

int RecordModel::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : int(m_places.size());
}

int RecordModel::columnCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : m_columns.size();
}

QVariant RecordModel::data(const QModelIndex &index, int role) const
{
    if (!index.isValid() || index.row() >= rowCount())
        return {};
    switch (role) {
    case Qt::DisplayRole:
        return m_columns.at(index.column()).isTime ? m_timeAxis.shortMoment(range(place(index.row())).from)
                                                   : cell(place(index.row()), index.column());
    case Qt::ToolTipRole:
        return m_columns.at(index.column()).isTime ? cell(place(index.row()), index.column()) : QString();
    case Qt::DecorationRole:
        return m_columns.at(index.column()).isTime ? sensorIcon(sensorAt(index.row()).view)
                                                   : decoration(place(index.row()), index.column());
    case Qt::TextAlignmentRole:
        return int(Qt::AlignVCenter | (m_columns.at(index.column()).number ? Qt::AlignRight : Qt::AlignLeft));
    default:
        return {};
    }
}

QVariant RecordModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (orientation == Qt::Vertical || section < 0 || section >= m_columns.size())
        return {};
    switch (role) {
    case Qt::DisplayRole:
        return m_columns.at(section).isTime
                   ? QStringLiteral("%1 (%2)").arg(m_columns.at(section).title, m_timeAxis.modeText())
                   : m_columns.at(section).title;
    case Qt::ToolTipRole:
        return m_columns.at(section).tip;
    case Qt::UserRole:
        return m_columns.at(section).width;
    default:
        return {};
    }
}
