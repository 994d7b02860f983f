#include "display/plot/axisrangedialog.h"

#include <QDateTimeEdit>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QLabel>
#include <QLineEdit>
#include <QLocale>
#include <QPushButton>

#include <cmath>

namespace {

QDialogButtonBox *buttonBox(QDialog *dialog)
{
    auto *box = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel);
    QObject::connect(box, &QDialogButtonBox::accepted, dialog, &QDialog::accept);
    QObject::connect(box, &QDialogButtonBox::rejected, dialog, &QDialog::reject);
    return box;
}

double numberOf(const QLineEdit *edit)
{
    bool ok = false;
    const double value = QLocale::c().toDouble(edit->text().trimmed(), &ok);
    return ok && std::isfinite(value) ? value : NAN;
}

void say(QLabel *label, QDialogButtonBox *buttons, const QString &reason)
{
    label->setText(reason);
    QPushButton *ok = buttons->button(QDialogButtonBox::Ok);
    ok->setEnabled(reason.isEmpty());
    ok->setToolTip(reason);
}

} // namespace

ValueRangeDialog::ValueRangeDialog(const QString &name, const QString &unit, const ValueSpan &span, QWidget *parent)
    : QDialog(parent), m_low(new QLineEdit(QString::number(span.low, 'g', 7))),
      m_high(new QLineEdit(QString::number(span.high, 'g', 7))), m_reason(new QLabel), m_buttons(buttonBox(this))
{
    setWindowTitle(tr("Range of the Axis"));
    m_low->setObjectName(QStringLiteral("lowest"));
    m_high->setObjectName(QStringLiteral("highest"));
    const QString tail = unit.isEmpty() ? QString() : QStringLiteral(" [%1]").arg(unit);
    auto *form = new QFormLayout(this);
    auto *heading = new QLabel(name);
    heading->setTextFormat(Qt::PlainText);
    form->addRow(heading);
    form->addRow(tr("From") + tail, m_low);
    form->addRow(tr("To") + tail, m_high);
    form->addRow(m_reason);
    form->addRow(m_buttons);
    QPushButton *automatic = m_buttons->addButton(tr("Automatic"), QDialogButtonBox::ResetRole);
    automatic->setObjectName(QStringLiteral("automatic"));
    automatic->setToolTip(tr("Let the axis fit the visible data"));
    connect(automatic, &QPushButton::clicked, this, [this] {
        emit automaticChosen();
        reject();
    });
    connect(this, &QDialog::accepted, this, [this] { emit chosen({numberOf(m_low), numberOf(m_high)}); });
    connect(m_low, &QLineEdit::textChanged, this, &ValueRangeDialog::check);
    connect(m_high, &QLineEdit::textChanged, this, &ValueRangeDialog::check);
    check();
}

void ValueRangeDialog::check()
{
    QString reason;
    if (std::isnan(numberOf(m_low)) || std::isnan(numberOf(m_high)))
        reason = tr("Please enter two numbers, with a point as decimal mark.");
    else if (numberOf(m_low) >= numberOf(m_high))
        reason = tr("The first number must be less than the second.");
    say(m_reason, m_buttons, reason);
}

TimeRangeDialog::TimeRangeDialog(const TimeAxis &axis, const TimeRange &range, QWidget *parent)
    : QDialog(parent), m_from(new QDateTimeEdit), m_to(new QDateTimeEdit), m_reason(new QLabel),
      m_buttons(buttonBox(this))
{
    setWindowTitle(tr("Visible Time"));
    m_from->setObjectName(QStringLiteral("from"));
    m_to->setObjectName(QStringLiteral("to"));
    const bool local = axis.mode() == TimeMode::Local;
    auto *form = new QFormLayout(this);
    for (QDateTimeEdit *edit : {m_from, m_to}) {
        edit->setTimeSpec(local ? Qt::LocalTime : Qt::UTC);
        edit->setDisplayFormat(QStringLiteral("yyyy-MM-dd HH:mm:ss.zzz"));
        edit->setCalendarPopup(true);
        const quint64 time = edit == m_from ? range.from : range.to + 999;
        edit->setDateTime(QDateTime::fromMSecsSinceEpoch(qint64(time / 1000), local ? Qt::LocalTime : Qt::UTC));
        connect(edit, &QDateTimeEdit::dateTimeChanged, this, &TimeRangeDialog::check);
    }
    form->addRow(tr("From"), m_from);
    form->addRow(QStringLiteral("To"), m_to);
    form->addRow(new QLabel(tr("Times are in %1.").arg(local ? axis.zoneText(range.from) : QStringLiteral("UTC"))));
    form->addRow(m_reason);
    form->addRow(m_buttons);
    connect(this, &QDialog::accepted, this, [this] { emit chosen(this->range()); });
    check();
}

TimeRange TimeRangeDialog::range() const
{
    const auto microseconds = [](const QDateTimeEdit *edit) {
        return quint64(std::max<qint64>(0, edit->dateTime().toMSecsSinceEpoch())) * 1000;
    };
    return {microseconds(m_from), microseconds(m_to)};
}

void TimeRangeDialog::check()
{
    say(m_reason, m_buttons, range().isEmpty() ? tr("The end must be later than the beginning.") : QString());
}
