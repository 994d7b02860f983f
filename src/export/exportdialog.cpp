#include "export/exportdialog.h"

#include "base/prompts.h"
#include "export/exportevents.h"
#include "export/exportnames.h"
#include "export/overviewcurve.h"
#include "export/rangepicker.h"
#include "export/tablechoices.h"

#include <QButtonGroup>
#include <QCheckBox>
#include <QComboBox>
#include <QDateTimeEdit>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QGroupBox>
#include <QLabel>
#include <QLocale>
#include <QPushButton>
#include <QRadioButton>
#include <QVBoxLayout>
#include <qwt_date_scale_draw.h>
#include <qwt_date_scale_engine.h>
#include <qwt_plot.h>
#include <qwt_plot_canvas.h>
#include <qwt_plot_zoneitem.h>

namespace {

const QString editorFormat = QStringLiteral("dd-MM-yyyy HH:mm:ss.zzz");
const QString delimiterKey = QStringLiteral("exportDialog/delimiter");
const QString eventsKey = QStringLiteral("exportDialog/ExportEvents");
const QString rfOnKey = QStringLiteral("exportDialog/ExportRFON");
const QChar delimiters[] = {QLatin1Char(';'), QLatin1Char(','), QLatin1Char('\t')};
constexpr int overviewColumns = 600;

QDateTime toDate(quint64 us)
{
    return QDateTime::fromMSecsSinceEpoch(static_cast<qint64>(us / 1000));
}

quint64 toMicroseconds(const QDateTimeEdit *editor)
{
    return static_cast<quint64>(qMax<qint64>(0, editor->dateTime().toMSecsSinceEpoch())) * 1000;
}

QwtText axisTitle(const QString &text, const QFont &font)
{
    QwtText title(text);
    title.setFont(font);
    return title;
}

/// The day is in the axis title; ticks repeat it only where a recording is long enough to need it.
QwtDateScaleDraw *timeScale()
{
    auto *draw = new QwtDateScaleDraw(Qt::LocalTime);
    draw->setDateFormat(QwtDate::Millisecond, QStringLiteral("HH:mm:ss.zzz"));
    draw->setDateFormat(QwtDate::Second, QStringLiteral("HH:mm:ss"));
    draw->setDateFormat(QwtDate::Minute, QStringLiteral("HH:mm"));
    draw->setDateFormat(QwtDate::Hour, QStringLiteral("HH:mm\nd MMM"));
    return draw;
}

} // namespace

exportDialog::exportDialog(std::shared_ptr<const abstractNorvexData> recording, quint64 first, quint64 last,
                           const Setup &setup, Prompts &prompts, QWidget *parent)
    : QDialog(parent), m_data(std::move(recording)), m_first(first), m_last(last), m_setup(setup), m_prompts(prompts)
{
    setObjectName(QStringLiteral("exportDialog"));
    setWindowTitle(setup.kind == ExportKind::FixedFiles ? tr("Export to CSV") : tr("Export for Other Programs"));
    setWindowModality(Qt::ApplicationModal);
    buildPlot(setup.curveColour);
    m_summary = new QLabel;
    m_summary->setObjectName(QStringLiteral("lb_summary"));
    auto *buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel);
    buttons->button(QDialogButtonBox::Ok)->setText(tr("Export..."));
    connect(buttons, &QDialogButtonBox::accepted, this, &exportDialog::accept);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);

    auto *layout = new QVBoxLayout(this);
    layout->addWidget(whoIsExported());
    layout->addWidget(new QLabel(isEmpty() ? tr("Nothing is recorded yet: the files will hold their headers only.")
                                           : tr("Drag over the voltage to choose a stretch of time, or type it "
                                                "below.")));
    layout->addWidget(m_plot, 1);
    layout->addWidget(buildRangeRow());
    layout->addWidget(buildChoices());
    layout->addWidget(m_summary);
    layout->addWidget(buttons);
    m_defaultEnd = toDate(last);
    setRange(first, last);
    resize(fontMetrics().averageCharWidth() * 110, fontMetrics().height() * 34);

    m_overview = new OverviewReader(m_data, first, last + 1000, overviewColumns, this);
    connect(m_overview, &OverviewReader::updated, this, &exportDialog::showOverview);
    m_overview->start();
    if (isCounting()) {
        auto *names = new EventNameReader(m_data, m_setup.filter.userTypes, this);
        connect(names, &EventNameReader::finished, this, &exportDialog::takeNames);
        names->start();
    }
}

QLabel *exportDialog::whoIsExported() const
{
    const QString who = tr("Sensor %1, chamber %2").arg(m_data->sensorSerial(), m_data->chamberSerial());
    auto *label = new QLabel(fontMetrics().elidedText(who, Qt::ElideRight, fontMetrics().averageCharWidth() * 90));
    label->setObjectName(QStringLiteral("lb_sensor"));
    label->setTextFormat(Qt::PlainText); // the sensor's own words
    label->setToolTip(who.toHtmlEscaped());
    QFont bold = label->font();
    bold.setBold(true);
    label->setFont(bold);
    return label;
}

void exportDialog::buildPlot(const QColor &colour)
{
    m_plot = new QwtPlot;
    m_plot->setMinimumHeight(fontMetrics().lineSpacing() * 10); // or the title of the axis is cut
    const QDateTime first = toDate(m_first);
    m_plot->setAxisTitle(QwtPlot::yLeft, axisTitle(tr("Voltage (V)"), font()));
    m_plot->setAxisTitle(QwtPlot::xBottom,
                         axisTitle(tr("from %1, local time (%2)")
                                       .arg(QLocale::c().toString(first.date(), QStringLiteral("ddd d MMM yyyy")),
                                            first.timeZoneAbbreviation()),
                                   font()));
    m_plot->setAxisFont(QwtPlot::xBottom, font());
    m_plot->setAxisFont(QwtPlot::yLeft, font());
    m_plot->setAxisScaleDraw(QwtPlot::xBottom, timeScale());
    m_plot->setAxisScaleEngine(QwtPlot::xBottom, new QwtDateScaleEngine(Qt::LocalTime));
    m_plot->setAxisMaxMajor(QwtPlot::xBottom, 5);
    m_plot->setAxisScale(QwtPlot::xBottom, static_cast<double>(m_first) / 1000, static_cast<double>(m_last) / 1000 + 1);
    m_plot->setCanvasBackground(palette().base());
    auto *canvas = qobject_cast<QwtPlotCanvas *>(m_plot->canvas());
    canvas->setFrameStyle(QFrame::NoFrame);
    m_curve = new OverviewCurve;
    m_curve->setPen(colour, 1);
    m_curve->setBrush(colour);
    m_curve->attach(m_plot);
    m_zone = new QwtPlotZoneItem;
    m_zone->setOrientation(Qt::Vertical);
    QColor zone = palette().color(QPalette::Highlight);
    m_zone->setPen(zone, 1);
    zone.setAlpha(50);
    m_zone->setBrush(zone);
    m_zone->attach(m_plot);
    auto *picker = new rangePicker(m_plot->canvas());
    connect(picker, qOverload<const QRectF &>(&QwtPlotPicker::selected), this, &exportDialog::updateSelection);
}

QWidget *exportDialog::buildRangeRow()
{
    auto *group =
        new QGroupBox(tr("Range, local time %1 (files are in UTC)").arg(toDate(m_first).timeZoneAbbreviation()));
    auto *rows = new QVBoxLayout(group);
    auto *row = new QHBoxLayout; // two of them, for large fonts
    rows->addLayout(row);
    const auto editor = [&](const QString &label, const QString &name) {
        auto *edit = new QDateTimeEdit;
        edit->setObjectName(name);
        edit->setDisplayFormat(editorFormat);
        edit->setCalendarPopup(true);
        if (isEmpty()) {
            edit->setMinimumDateTime(toDate(0));
            edit->setSpecialValueText(tr("nothing recorded"));
        }
        edit->setAccessibleName(label);
        auto *text = new QLabel(label);
        text->setBuddy(edit);
        row->addWidget(text);
        row->addWidget(edit);
        connect(edit, &QDateTimeEdit::dateTimeChanged, this, &exportDialog::rangeChanged);
        return edit;
    };
    m_start = editor(tr("Start"), QStringLiteral("startDateTime"));
    m_end = editor(tr("End"), QStringLiteral("endDateTime"));
    row->addStretch();
    row = new QHBoxLayout;
    rows->addLayout(row);
    const auto choice = [&](const QString &text, const QString &name, const std::optional<Range> &range,
                            const QString &missing) {
        auto *button = new QPushButton(text);
        button->setObjectName(name);
        button->setAutoDefault(false);
        button->setEnabled(range.has_value());
        button->setToolTip(range ? QString() : missing);
        if (range)
            connect(button, &QPushButton::clicked, this, [this, range] { setRange(range->from, range->to); });
        row->addWidget(button);
    };
    choice(tr("Whole Recording"), QStringLiteral("b_wholeRange"), Range{m_first, m_last}, QString());
    choice(tr("Visible"), QStringLiteral("b_visibleRange"), m_setup.visible,
           tr("The plot shows none of this sensor's data"));
    choice(tr("Between Cursors"), QStringLiteral("b_cursorRange"), m_setup.betweenCursors,
           tr("Place two cursors in the plot first (keys 1 and 2)"));
    row->addWidget(buildRunChoice());
    row->addStretch();
    return group;
}

QComboBox *exportDialog::buildRunChoice()
{
    constexpr int longestNameShown = 24;
    auto *runs = new QComboBox;
    runs->setObjectName(QStringLiteral("cb_runRange"));
    runs->setAccessibleName(tr("One run"));
    runs->addItem(tr("One Run"));
    const QVector<RunRecord> recorded = m_data->runsInRange(m_first, m_last + 1000);
    for (int i = 0; i < recorded.size(); ++i) {
        const RunRecord &run = recorded.at(i);
        runs->addItem(tr("Run %1, %2, %3 s %4")
                          .arg(i + 1)
                          .arg(QLocale::c().toString(toDate(run.start), QStringLiteral("d MMM HH:mm:ss")))
                          .arg(static_cast<double>(run.end - run.start) / 1e6, 0, 'f', 1)
                          .arg(run.recipe.recipeName().left(longestNameShown)));
    }
    runs->setSizeAdjustPolicy(QComboBox::AdjustToMinimumContentsLengthWithIcon);
    runs->setMinimumContentsLength(12);
    runs->setEnabled(!recorded.isEmpty());
    runs->setToolTip(recorded.isEmpty() ? tr("No run is recorded yet") : QString());
    connect(runs, qOverload<int>(&QComboBox::activated), this, [this, recorded](int index) {
        if (index > 0) // editors show whole milliseconds: outwards
            setRange(recorded.at(index - 1).start, recorded.at(index - 1).end + 1000);
    });
    return runs;
}

QWidget *exportDialog::buildChoices()
{
    auto *box = new QWidget;
    auto *rows = new QVBoxLayout(box);
    rows->setContentsMargins(0, 0, 0, 0);
    if (m_setup.kind == ExportKind::OtherPrograms) {
        m_tables = new TableChoices(m_setup.setting, m_setup.others.size());
        rows->addWidget(m_tables);
    }
    auto *row = new QHBoxLayout;
    rows->addLayout(row);
    if (m_setup.kind == ExportKind::FixedFiles)
        addDelimiters(row);
    m_events = new QCheckBox(tr("Export events"));
    m_events->setObjectName(QStringLiteral("cb_exportEvents"));
    m_events->setChecked(m_setup.setting(eventsKey, true).toBool());
    m_rfOn = new QCheckBox(tr("Export RF-ON"));
    m_rfOn->setObjectName(QStringLiteral("cb_exportRfOn"));
    m_rfOn->setChecked(m_setup.setting(rfOnKey, true).toBool());
    row->addWidget(m_events);
    row->addWidget(m_rfOn);
    row->addStretch();
    return box;
}

void exportDialog::addDelimiters(QLayout *row)
{
    row->addWidget(new QLabel(tr("Delimiter")));
    m_delimiters = new QButtonGroup(this);
    const QStringList names{tr("Semicolon ;"), tr("Comma ,"), tr("Tab")};
    const QString kept = m_setup.setting(delimiterKey, QString(delimiters[0])).toString();
    for (int i = 0; i < names.size(); ++i) {
        auto *button = new QRadioButton(names.at(i));
        button->setObjectName(QStringLiteral("rb_delimiter%1").arg(i));
        button->setChecked(i == 0 || kept == QString(delimiters[i]));
        m_delimiters->addButton(button, i);
        row->addWidget(button);
    }
    row->addItem(new QSpacerItem(fontMetrics().averageCharWidth() * 4, 0));
}

QChar exportDialog::delimiter() const
{
    return delimiters[m_delimiters ? qBound(0, m_delimiters->checkedId(), 2) : 0];
}

bool exportDialog::exportEvents() const
{
    return m_events->isChecked();
}

bool exportDialog::exportRfOn() const
{
    return m_rfOn->isChecked();
}

quint64 exportDialog::rangeStart() const
{
    return toMicroseconds(m_start);
}

quint64 exportDialog::rangeEnd() const
{
    return toMicroseconds(m_end);
}

bool exportDialog::isEndUntouched() const
{
    return m_end->dateTime() == m_defaultEnd;
}

void exportDialog::setRange(quint64 from, quint64 to)
{
    {
        const QSignalBlocker startBlocker(m_start); // the events are counted once, for both
        const QSignalBlocker endBlocker(m_end);
        m_start->setDateTime(toDate(from));
        m_end->setDateTime(toDate(to));
    }
    rangeChanged();
}

void exportDialog::updateSelection(const QRectF &selection)
{
    const auto clamped = [this](double ms) {
        return static_cast<quint64>(qBound(static_cast<double>(m_first), ms * 1000, static_cast<double>(m_last)));
    };
    setRange(clamped(selection.normalized().left()), clamped(selection.normalized().right()));
}

void exportDialog::rangeChanged()
{
    m_zone->setInterval(static_cast<double>(rangeStart()) / 1000, static_cast<double>(rangeEnd()) / 1000);
    m_plot->replot();
    const bool backwards = rangeEnd() < rangeStart();
    if (backwards)
        m_summary->setText(tr("The end lies before the start: the files will hold their headers only."));
    else if (isCounting())
        m_summary->setText(m_acceptWhenCounted ? tr("Counting the events; the export starts then...")
                                               : tr("Counting the events of the enabled types..."));
    else
        m_summary->setText(tr("%1 events of the enabled types in the range").arg(eventCount()));
}

void exportDialog::takeNames(const EventNames &names)
{
    m_names = std::make_shared<const EventNames>(names);
    rangeChanged();
    if (m_acceptWhenCounted)
        accept();
}

void exportDialog::showOverview(const QVector<OverviewReader::Column> &columns)
{
    QVector<QwtIntervalSample> samples;
    for (int i = 0; i < columns.size(); ++i) {
        if (columns.at(i).any)
            samples.append(QwtIntervalSample(static_cast<double>(m_overview->timeOf(i)) / 1000, columns.at(i).lowest,
                                             columns.at(i).highest));
    }
    m_curve->setSamples(samples);
    m_plot->replot();
}

int exportDialog::eventCount() const
{
    ExportRequest request = m_setup.filter;
    request.from = rangeStart();
    request.to = rangeEnd();
    request.toIncluded = isEndUntouched();
    request.knownNames = m_names;
    return ExportEvents(*m_data, request).count();
}

void exportDialog::accept()
{
    const bool limited = !m_tables && exportEvents();
    m_acceptWhenCounted = limited && isCounting();
    if (m_acceptWhenCounted) {
        rangeChanged();
        return;
    }
    const QString refusal = limited ? exportRefusal(eventCount(), true) : QString();
    if (!refusal.isEmpty()) {
        m_prompts.warn(this, tooManyEventsTitle(), refusal);
        return;
    }
    if (m_tables)
        m_tables->keep(m_setup.keepSetting);
    else
        m_setup.keepSetting(delimiterKey, QString(delimiter()));
    m_setup.keepSetting(eventsKey, exportEvents());
    m_setup.keepSetting(rfOnKey, exportRfOn());
    QDialog::accept();
}
