#include "recipe/reconfiguresensordialog.h"

#include "base/prompts.h"
#include "recipe/configurationfields.h"
#include "recipe/configurationlimits.h"

#include <QCheckBox>
#include <QCoreApplication>
#include <QDialogButtonBox>
#include <QDoubleSpinBox>
#include <QFormLayout>
#include <QGroupBox>
#include <QGuiApplication>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QScreen>
#include <QScrollArea>
#include <QStandardPaths>
#include <QStyle>
#include <QVBoxLayout>

namespace {

const QString changedMark = QStringLiteral(" •");

const QString &fileFilter()
{
    static const QString filter =
        QCoreApplication::translate("reconfiguresensordialog", "Sensor configuration (*%1)").arg(configFileExtension());
    return filter;
}

bool isCharacter(const ConfigurationField &field)
{
    return std::holds_alternative<quint8 SensorConfiguration::*>(field.member);
}

bool isReal(const ConfigurationField &field)
{
    return std::holds_alternative<double SensorConfiguration::*>(field.member);
}

/// Shows as many decimals as the value has.
class NumberBox final : public QDoubleSpinBox
{
public:
    using QDoubleSpinBox::QDoubleSpinBox;

    QString textFromValue(double value) const override
    {
        QString text = QDoubleSpinBox::textFromValue(value);
        const QChar point = locale().decimalPoint();
        if (!text.contains(point))
            return text;
        while (text.endsWith(QLatin1Char('0')))
            text.chop(1);
        if (text.endsWith(point))
            text.chop(1);
        return text;
    }
};

/// Copies between a field and its controls.
struct ToEditors
{
    const SensorConfiguration &configuration;
    const QVector<QWidget *> &editors;

    void show(int part, double value) const { static_cast<QDoubleSpinBox *>(editors[part])->setValue(value); }

    template <typename T>
    void operator()(T SensorConfiguration::*member) const
    {
        show(0, static_cast<double>(configuration.*member));
    }
    void operator()(quint8 SensorConfiguration::*member) const
    {
        static_cast<QCheckBox *>(editors[0])->setChecked(configuration.*member == '1');
    }
    void operator()(const ConfigurationLimits &limits) const
    {
        show(0, configuration.*limits.low);
        show(1, configuration.*limits.high);
    }
};

struct FromEditors
{
    SensorConfiguration &configuration;
    const SensorConfiguration &filledIn; // what the controls were filled with last
    const SensorConfiguration &original;
    const QVector<QWidget *> &editors;

    double value(int part) const { return static_cast<QDoubleSpinBox *>(editors[part])->value(); }

    template <typename T>
    void operator()(T SensorConfiguration::*member) const
    {
        configuration.*member = static_cast<T>(value(0));
    }
    void operator()(double SensorConfiguration::*member) const
    {
        // The control rounds; a value that was not touched stays exactly what it was.
        const auto *box = static_cast<QDoubleSpinBox *>(editors[0]);
        const auto isShown = [box](double value) {
            const double held = qBound(box->minimum(), value, box->maximum());
            return box->textFromValue(held) == box->textFromValue(box->value());
        };
        configuration.*member = isShown(filledIn.*member)   ? filledIn.*member
                                : isShown(original.*member) ? original.*member
                                                            : box->value();
    }
    void operator()(quint8 SensorConfiguration::*member) const
    {
        const bool checked = static_cast<QCheckBox *>(editors[0])->isChecked();
        const bool was = filledIn.*member == '1';
        configuration.*member = checked == was ? filledIn.*member : static_cast<quint8>(checked ? '1' : '0');
    }
    void operator()(const ConfigurationLimits &limits) const
    {
        configuration.*limits.low = static_cast<qint32>(value(0));
        configuration.*limits.high = static_cast<qint32>(value(1));
    }
};

/// Room for every field's name with the mark of a changed one: columns are in line, and marking moves nothing.
int widestName(QFont font)
{
    font.setBold(true);
    int widest = 0;
    for (const ConfigurationText &text : configurationTexts())
        widest = qMax(widest, QFontMetrics(font).horizontalAdvance(
                                  QCoreApplication::translate("ConfigurationText", text.title) + changedMark));
    return widest;
}

/// Shows all of `fields` where the screen has room for it.
QScrollArea *scrollArea(QWidget *fields)
{
    auto *area = new QScrollArea;
    area->setFrameShape(QFrame::NoFrame);
    area->setWidgetResizable(true);
    area->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    area->setWidget(fields);
    const QSize size = fields->sizeHint();
    const int rest = area->fontMetrics().lineSpacing() * 12; // what is around it
    const int room = QGuiApplication::primaryScreen()->availableGeometry().height() - rest;
    const bool cut = size.height() > room;
    area->setMinimumWidth(size.width() + (cut ? area->style()->pixelMetric(QStyle::PM_ScrollBarExtent) : 0));
    area->setMinimumHeight(qMin(size.height(), qMax(room, area->fontMetrics().lineSpacing() * 10)));
    return area;
}

} // namespace

reconfigureSensordialog::reconfigureSensordialog(const QString &title, const SensorConfiguration &configuration,
                                                 Prompts &prompts, QWidget *parent)
    : QDialog(parent), m_prompts(prompts), m_original(configuration), m_filledIn(configuration)
{
    setObjectName(QStringLiteral("reconfigureSensordialog"));
    setWindowTitle(title);
    m_rows.resize(int(configurationFields().size()));

    // The fields in the order of the record, read down one column and then the other.
    const auto column = [this](const std::vector<QPair<QString, const char *>> &groups) {
        auto *layout = new QVBoxLayout;
        for (const auto &group : groups)
            layout->addWidget(addGroup(group.first, QString::fromLatin1(group.second).split(QLatin1Char(' '))));
        layout->addStretch();
        return layout;
    };
    auto *fields = new QWidget;
    auto *columns = new QHBoxLayout(fields);
    columns->setContentsMargins(0, 0, 0, 0);
    columns->addLayout(column({{tr("Signal"), "signal_base_threshold refresh_rate event_points voltage_factor "
                                              "current_factor frequency_limit signal_lock noise_filter_length"},
                               {tr("Event levels"), "event_max_length_1 event_min_amplitude_1 event_max_length_2 "
                                                    "event_min_amplitude_2 event_max_length_3 "
                                                    "event_min_amplitude_3"}}));
    columns->addLayout(column({{tr("Switching"), "capture_switch_on_events min_switch_off_length"},
                               {tr("Pulses"), "glitch_period_time pulse_event_resolution pulse_period_min "
                                              "pulse_period_max pulse_on_min pulse_on_max capture_all_pulses"},
                               {tr("Start of a run"), "skip_start_time ignore_time_after_start"}}));
    m_subject = new QLabel;
    m_subject->setObjectName(QStringLiteral("lb_subject"));
    m_subject->setTextFormat(Qt::PlainText); // the sensor's own words
    QFont bold = font();
    bold.setBold(true);
    m_subject->setFont(bold);
    m_subject->hide();

    m_reason = new QLabel;
    m_reason->setObjectName(QStringLiteral("lb_reason"));
    m_reason->setTextFormat(Qt::PlainText);
    m_reason->setWordWrap(true);
    m_reason->setMinimumHeight(2 * fontMetrics().lineSpacing());

    m_buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel);
    auto *load = new QPushButton(tr("Load..."));
    auto *save = new QPushButton(tr("Save..."));
    auto *restore = new QPushButton(tr("Reset"));
    load->setObjectName(QStringLiteral("b_load"));
    save->setObjectName(QStringLiteral("b_save"));
    load->setToolTip(tr("Take the values from a %1 file").arg(configFileExtension()));
    save->setToolTip(tr("Keep the values in a %1 file").arg(configFileExtension()));
    restore->setToolTip(tr("Back to the values that the dialog opened with"));
    connect(m_buttons, &QDialogButtonBox::accepted, this, &reconfigureSensordialog::accept);
    connect(m_buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    connect(load, &QPushButton::clicked, this, &reconfigureSensordialog::loadConfiguration);
    connect(save, &QPushButton::clicked, this, &reconfigureSensordialog::saveConfiguration);
    connect(restore, &QPushButton::clicked, this, &reconfigureSensordialog::restoreOriginal);

    auto *bottom = new QHBoxLayout;
    for (QPushButton *button : {load, save, restore}) {
        button->setAutoDefault(false);
        bottom->addWidget(button);
    }
    bottom->addStretch();
    bottom->addWidget(m_buttons);
    auto *outer = new QVBoxLayout(this);
    outer->addWidget(m_subject);
    outer->addWidget(scrollArea(fields), 1);
    outer->addWidget(m_reason);
    outer->addLayout(bottom);
    setConfiguration(configuration);
}

void reconfigureSensordialog::setSubject(const QString &text)
{
    m_subject->setText(
        fontMetrics().elidedText(text.simplified(), Qt::ElideRight, fontMetrics().averageCharWidth() * 90));
    m_subject->setToolTip(text.toHtmlEscaped());
    m_subject->show();
}

QWidget *reconfigureSensordialog::addGroup(const QString &title, const QStringList &keys)
{
    auto *group = new QGroupBox(title);
    auto *form = new QFormLayout(group);
    form->setFieldGrowthPolicy(QFormLayout::AllNonFixedFieldsGrow);
    const int nameWidth = widestName(font());
    for (int i = 0; i < int(configurationFields().size()); ++i) {
        const ConfigurationField &field = configurationFields()[size_t(i)];
        if (!keys.contains(field.readKey))
            continue;
        Row &row = m_rows[i];
        row.field = i;
        row.name = new QLabel;
        row.editors.append(makeEditor(i, 0));
        if (std::holds_alternative<ConfigurationLimits>(field.member)) {
            row.editors.append(makeEditor(i, 1));
            auto *pair = new QVBoxLayout;
            pair->addWidget(row.editors[0]);
            pair->addWidget(row.editors[1]);
            form->addRow(row.name, pair);
        } else {
            form->addRow(row.name, row.editors[0]);
        }
        row.name->setMinimumWidth(nameWidth);
        row.name->setBuddy(row.editors[0]);
        row.name->setToolTip(row.editors[0]->toolTip());
    }
    return group;
}

QWidget *reconfigureSensordialog::makeEditor(int field, int part)
{
    const ConfigurationField &entry = configurationFields()[size_t(field)];
    const ConfigurationText &text = configurationTexts()[size_t(field)];
    const QString unit = QString::fromUtf8(text.unit);
    QWidget *editor = nullptr;
    QString range;
    if (isCharacter(entry)) {
        auto *box = new QCheckBox;
        connect(box, &QCheckBox::toggled, this, &reconfigureSensordialog::valuesChanged);
        box->setObjectName(QStringLiteral("cb_") + entry.readKey);
        editor = box;
    } else {
        auto *box = new NumberBox;
        // Wider than what makes sense, so that a value that came from elsewhere is shown and explained, not changed.
        const bool isSigned = isReal(entry) || std::holds_alternative<qint32 SensorConfiguration::*>(entry.member) ||
                              std::holds_alternative<ConfigurationLimits>(entry.member);
        box->setRange(isReal(entry) ? -1e9
                      : isSigned    ? -2147483648.0
                                    : 0.0,
                      isReal(entry) ? 1e9
                      : isSigned    ? 2147483647.0
                                    : 4294967295.0);
        box->setDecimals(isReal(entry) ? 6 : 0);
        box->setSuffix(unit.isEmpty() ? QString() : QLatin1Char(' ') + unit);
        box->setAccelerated(true);
        box->setGroupSeparatorShown(false);
        box->setObjectName(QStringLiteral("sb_") + entry.readKey + (part == 1 ? QStringLiteral("_high") : QString()));
        connect(box, qOverload<double>(&QDoubleSpinBox::valueChanged), this, &reconfigureSensordialog::valuesChanged);
        range = tr("\nRange: %1 to %2 %3")
                    .arg(QString::number(text.minimum, 'g', 10), QString::number(text.maximum, 'g', 10), unit);
        editor = box;
    }
    editor->setToolTip(QCoreApplication::translate("ConfigurationText", text.help) + range);
    editor->setAccessibleName(QCoreApplication::translate("ConfigurationText", text.title));
    return editor;
}

SensorConfiguration reconfigureSensordialog::configuration() const
{
    SensorConfiguration configuration = m_original;
    for (const Row &row : m_rows)
        std::visit(FromEditors{configuration, m_filledIn, m_original, row.editors},
                   configurationFields()[size_t(row.field)].member);
    return configuration;
}

void reconfigureSensordialog::setConfiguration(const SensorConfiguration &configuration)
{
    m_filling = true;
    m_filledIn = configuration;
    for (const Row &row : qAsConst(m_rows))
        std::visit(ToEditors{configuration, row.editors}, configurationFields()[size_t(row.field)].member);
    m_filling = false;
    valuesChanged();
}

void reconfigureSensordialog::restoreOriginal()
{
    setConfiguration(m_original);
}

void reconfigureSensordialog::valuesChanged()
{
    if (m_filling)
        return;
    const SensorConfiguration now = configuration();
    for (const Row &row : qAsConst(m_rows)) {
        SensorConfiguration onlyThis = m_original;
        std::visit(FromEditors{onlyThis, m_filledIn, m_original, row.editors},
                   configurationFields()[size_t(row.field)].member);
        const bool changed = onlyThis != m_original;
        const QString title =
            QCoreApplication::translate("ConfigurationText", configurationTexts()[size_t(row.field)].title);
        row.name->setText(changed ? title + changedMark : title);
        QFont font = row.name->font();
        font.setBold(changed);
        row.name->setFont(font);
    }
    const QVector<ConfigurationProblem> problems = configurationProblems(now);
    QStringList reasons;
    for (const ConfigurationProblem &problem : problems)
        reasons.append(problem.reason);
    m_reason->setText(problems.isEmpty() ? (now == m_original ? tr("Nothing is changed.")
                                                              : tr("Changed fields are marked with a dot."))
                                         : reasons.join(QLatin1Char('\n')));
    QPushButton *ok = m_buttons->button(QDialogButtonBox::Ok);
    ok->setEnabled(problems.isEmpty());
    ok->setToolTip(problems.isEmpty() ? QString() : tr("A value makes no sense: %1").arg(reasons.value(0)));
}

void reconfigureSensordialog::accept()
{
    if (!configurationProblems(configuration()).isEmpty())
        return;
    emit configUpdated();
    QDialog::accept();
}

void reconfigureSensordialog::loadConfiguration()
{
    const QString folder = QStandardPaths::writableLocation(QStandardPaths::DocumentsLocation);
    const QString path = m_prompts.openFile(this, tr("Load Configuration"), folder, fileFilter());
    if (path.isEmpty())
        return;
    SensorConfiguration loaded = configuration();
    QString error;
    if (!loaded.loadFromFile(path, &error)) {
        m_prompts.warn(this, tr("Warning"), tr("Unable to read the configuration file:") + path,
                       {tr("%1\nThe values in the dialog are unchanged.").arg(error), QString()});
        return;
    }
    setConfiguration(loaded);
}

void reconfigureSensordialog::saveConfiguration()
{
    const QString folder = QStandardPaths::writableLocation(QStandardPaths::DocumentsLocation);
    const QString path =
        m_prompts.saveFile(this, tr("Save Configuration"), folder + QStringLiteral("/sensor") + configFileExtension(),
                           fileFilter(), configFileExtension().mid(1));
    if (path.isEmpty())
        return;
    QString error;
    if (!configuration().saveToFile(path, &error))
        m_prompts.warn(this, tr("Warning"), tr("Unable to create file:") + path, {error, QString()});
}
