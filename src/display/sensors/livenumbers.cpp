#include "display/sensors/livenumbers.h"

#include "data/norvexdata.h"
#include "data/valuetype.h"
#include "display/look/elidedlabel.h"
#include "display/look/readableink.h"
#include "display/sensors/sensorcardpresenter.h"

#include <QFontDatabase>
#include <QGridLayout>
#include <QLabel>

namespace {

constexpr qint64 freshMs = 3 * 500 + 1500; // three missed polls, and what a full frame takes to arrive: grey
constexpr qint64 shownMs = 60 * 1000;      // then "no data"
constexpr int mostRows = 2;                // in view

/// "1234.5": four significant places and more, the digits always in the same columns.
QString fixedNumber(double value, int decimals)
{
    return QStringLiteral("%1").arg(value, 9, 'f', decimals);
}

} // namespace

struct LiveNumbers::Row
{
    std::shared_ptr<norvexData> store;
    QString colour;
    QWidget *box = nullptr;
    ElidedLabel *name = nullptr;
    QLabel *voltage = nullptr;
    QLabel *current = nullptr;
    ElidedLabel *age = nullptr;
    SamplePoint newest;
    quint64 readRevision = 0;
};

LiveNumbers::LiveNumbers(Theme &theme, QWidget *parent, const Clock &clock)
    : RowsArea(mostRows, 0, parent), m_theme(theme), m_clock(clock)
{
    connect(&m_theme, &Theme::changed, this, [this] {
        for (const auto &row : qAsConst(m_rows))
            style(*row);
    });
    hide();
}

LiveNumbers::~LiveNumbers() = default;

void LiveNumbers::addSensor(const QString &serial, const std::shared_ptr<norvexData> &store, const QString &colour)
{
    removeSensor(serial);
    const auto row = std::make_shared<Row>();
    row->store = store;
    row->colour = colour;
    row->box = new QWidget;
    row->name = new ElidedLabel;
    row->name->setText(QStringLiteral("%1  %2").arg(serial, store->chamberSerial()));
    row->voltage = new QLabel;
    row->current = new QLabel;
    row->age = new ElidedLabel;
    row->age->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
    for (QLabel *number : {row->voltage, row->current}) {
        number->setTextFormat(Qt::PlainText);
        number->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
    }
    row->voltage->setAccessibleName(tr("Voltage of %1").arg(serial));
    row->current->setAccessibleName(tr("Current of %1").arg(serial));
    auto *grid = new QGridLayout(row->box);
    grid->setContentsMargins(8, 2, 8, 2);
    grid->setVerticalSpacing(0);
    grid->setColumnStretch(0, 1);
    grid->setColumnStretch(1, 1);
    row->age->setMinimumWidth(
        fontMetrics().horizontalAdvance(tr("%1 old").arg(SensorCardPresenter::duration(59 * 60 * 1000))));
    row->age->setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Fixed);
    auto *top = new QHBoxLayout;
    top->addWidget(row->name, 1); // a name wants more room than an age
    top->addWidget(row->age);
    grid->addLayout(top, 0, 0, 1, 2);
    grid->addWidget(row->voltage, 1, 0);
    grid->addWidget(row->current, 1, 1);
    page()->layout()->addWidget(row->box);
    m_rows.insert(serial, row);
    style(*row);
    fitDigits();
    show();
    refresh();
}

void LiveNumbers::removeSensor(const QString &serial)
{
    const auto row = m_rows.take(serial);
    if (row)
        delete row->box;
    fitDigits();
    setVisible(!m_rows.isEmpty());
}

/// Large digits as long as all sensors stand in one row with them.
void LiveNumbers::fitDigits()
{
    QFont digits = QFontDatabase::systemFont(QFontDatabase::FixedFont);
    digits.setBold(true);
    for (const double size : {1.8, 1.2}) {
        digits.setPointSizeF(font().pointSizeF() * size);
        const int number = QFontMetrics(digits).horizontalAdvance(QStringLiteral("00000.000 V"));
        const int box = 2 * number + fontMetrics().averageCharWidth() * 5;
        if (size > 1.5 && box * m_rows.size() > viewport()->width())
            continue;
        for (const auto &row : qAsConst(m_rows)) {
            row->voltage->setFont(digits);
            row->current->setFont(digits);
            row->box->setFixedWidth(box);
        }
        break;
    }
    updateGeometry();
}

void LiveNumbers::resizeEvent(QResizeEvent *event)
{
    RowsArea::resizeEvent(event);
    fitDigits();
}

void LiveNumbers::style(Row &row)
{
    QPalette palette = row.name->palette();
    palette.setColor(QPalette::WindowText, readableInk(m_theme, m_theme.themed(QColor(row.colour))));
    row.name->setPalette(palette);
}

void LiveNumbers::refresh()
{
    for (const auto &row : qAsConst(m_rows)) {
        const quint64 revision = row->store->revision();
        if (revision != row->readRevision) {
            const quint64 last = row->store->lastTime();
            QVector<SamplePoint> newest;
            if (last != 0 && row->store->samplesInRange(last, last + 1, newest) && !newest.isEmpty()) {
                row->newest = newest.last();
                row->readRevision = revision;
            }
        }
        const bool any = row->newest.time != 0;
        const qint64 age = any ? qMax<qint64>(0, m_clock.utcMs() - qint64(row->newest.time / 1000)) : -1;
        const bool shown = any && age < shownMs;
        const bool fresh = any && age < freshMs;
        row->voltage->setText(shown ? fixedNumber(sampleValue(row->newest, Voltage), 2) + QStringLiteral(" V")
                                    : QStringLiteral("— V"));
        row->current->setText(shown ? fixedNumber(sampleValue(row->newest, Current), 3) + QStringLiteral(" A")
                                    : QStringLiteral("— A"));
        row->age->setText(fresh   ? tr("live")
                          : shown ? tr("%1 old").arg(SensorCardPresenter::duration(age))
                                  : tr("no data"));
        row->voltage->setEnabled(fresh);
        row->current->setEnabled(fresh);
        row->age->setEnabled(fresh);
    }
}
