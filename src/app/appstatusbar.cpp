#include "app/appstatusbar.h"

#include "display/look/elidedlabel.h"
#include "display/sensors/sensorcardpresenter.h"

#include <QDateTime>
#include <QDialog>
#include <QDialogButtonBox>
#include <QLocale>
#include <QPlainTextEdit>
#include <QToolButton>
#include <QVBoxLayout>

namespace {

constexpr int problemsKept = 200;
constexpr int leastPath = 12; // letters

} // namespace

AppStatusBar::AppStatusBar(QWidget *parent) : QStatusBar(parent)
{
    setSizeGripEnabled(false);
    m_path = new ElidedLabel;
    m_path->setElideMode(Qt::ElideMiddle);
    m_path->setAccessibleName(tr("Session folder"));
    addWidget(m_path, 3);
    const auto add = [this](const QString &name, const QString &tip) {
        auto *label = new QLabel;
        label->setAccessibleName(name);
        label->setToolTip(tip);
        label->setContentsMargins(8, 0, 8, 0);
        addPermanentWidget(label);
        return label;
    };
    m_saved = add(tr("Saved"), tr("The session is saved every 10 seconds and when it is closed"));
    m_disk = add(tr("Disk"), tr("Free space where the session is stored, at the present rate of recording"));
    m_sensors = add(tr("Sensors"), tr("Connected sensors of all in the session"));
    m_timeMode = add(tr("Time mode"), tr("How times are shown; files always hold UTC"));
    m_problem = new QToolButton;
    m_problem->setObjectName(QStringLiteral("b_problems"));
    m_problem->setAutoRaise(true);
    m_problem->setToolButtonStyle(Qt::ToolButtonTextOnly);
    m_problem->setText(tr("No problems"));
    m_problem->setToolTip(tr("Nothing went wrong in the background"));
    addPermanentWidget(m_problem);
    connect(m_problem, &QToolButton::clicked, this, &AppStatusBar::showProblems);
}

QSize AppStatusBar::minimumSizeHint() const
{
    return {fontMetrics().averageCharWidth() * leastPath * 3, QStatusBar::minimumSizeHint().height()};
}

void AppStatusBar::resizeEvent(QResizeEvent *event)
{
    QStatusBar::resizeEvent(event);
    fit();
}

void AppStatusBar::fit()
{
    int room = width() - fontMetrics().averageCharWidth() * leastPath;
    for (QWidget *part : std::initializer_list<QWidget *>{m_problem, m_saved, m_sensors, m_disk, m_timeMode}) {
        room -= part->sizeHint().width() + layout()->spacing();
        if (part->isVisibleTo(this) != (room > 0))
            part->setVisible(room > 0);
    }
}

void AppStatusBar::setSession(const QString &path)
{
    m_path->setText(path);
}

QString AppStatusBar::savedText(bool unsaved, qint64 lastSaveMs, qint64 nowMs)
{
    if (unsaved && lastSaveMs == 0)
        return tr("Unsaved");
    if (lastSaveMs == 0)
        return tr("Nothing to save");
    return tr("Saved %1 ago").arg(SensorCardPresenter::duration(qMax<qint64>(0, nowMs - lastSaveMs)));
}

void AppStatusBar::setSaved(bool unsaved, qint64 lastSaveMs, qint64 nowMs)
{
    m_saved->setText(savedText(unsaved, lastSaveMs, nowMs));
}

QString AppStatusBar::diskText(qint64 freeBytes, double bytesPerHour)
{
    if (freeBytes < 0)
        return tr("Disk unknown");
    if (bytesPerHour < 1)
        return tr("%1 free").arg(QLocale().formattedDataSize(freeBytes, 0));
    const double hours = static_cast<double>(freeBytes) / bytesPerHour;
    return hours > 2000 ? tr("Disk for over 2000 h") : tr("Disk for %1 h").arg(hours, 0, 'f', hours < 10 ? 1 : 0);
}

void AppStatusBar::setDisk(qint64 freeBytes, double bytesPerHour)
{
    m_disk->setText(diskText(freeBytes, bytesPerHour));
    fit();
}

void AppStatusBar::setSensors(int connected, int all)
{
    m_sensors->setText(all == 0 ? tr("No sensors") : tr("%1 of %2 sensors connected").arg(connected).arg(all));
}

void AppStatusBar::setTimeMode(const QString &text)
{
    m_timeMode->setText(text);
    fit();
}

void AppStatusBar::addProblem(const QString &text)
{
    const QString now = QDateTime::currentDateTime().toString(QStringLiteral("dd-MM-yyyy HH:mm:ss"));
    if (text == m_lastText && !m_problems.isEmpty()) {
        ++m_lastCount;
        m_problems.last() = QStringLiteral("%1  %2 (%3 times)").arg(now, text).arg(m_lastCount);
    } else {
        m_lastText = text;
        m_lastCount = 1;
        m_problems.append(QStringLiteral("%1  %2").arg(now, text));
        while (m_problems.size() > problemsKept)
            m_problems.removeFirst();
    }
    m_problem->setText(m_problems.size() == 1 ? tr("1 problem") : tr("%1 problems").arg(m_problems.size()));
    m_problem->setToolTip(text.toHtmlEscaped());
    fit();
}

void AppStatusBar::showProblems()
{
    auto *dialog = new QDialog(window());
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->setWindowTitle(tr("Problems"));
    auto *list = new QPlainTextEdit(m_problems.isEmpty() ? tr("Nothing went wrong in the background.")
                                                         : m_problems.join(QLatin1Char('\n')));
    list->setReadOnly(true);
    list->setAccessibleName(tr("Problems, newest last"));
    auto *buttons = new QDialogButtonBox(QDialogButtonBox::Close);
    connect(buttons, &QDialogButtonBox::rejected, dialog, &QDialog::close);
    auto *layout = new QVBoxLayout(dialog);
    layout->addWidget(list);
    layout->addWidget(buttons);
    dialog->resize(fontMetrics().averageCharWidth() * 90, fontMetrics().height() * 16);
    dialog->show();
}
