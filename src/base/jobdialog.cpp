#include "base/jobdialog.h"

#include "base/jobprogress.h"
#include "base/nestedloop.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QLabel>
#include <QLocale>
#include <QProgressDialog>
#include <QThread>
#include <QTimer>

namespace {

constexpr int cursorAfterMs = 500;
constexpr int windowAfterMs = 2000;
constexpr int refreshMs = 100;

class JobThread final : public QThread
{
public:
    JobThread(const std::function<void(JobProgress &)> &job, JobProgress &progress) : m_job(job), m_progress(progress)
    {}

protected:
    void run() override { m_job(m_progress); }

private:
    const std::function<void(JobProgress &)> &m_job;
    JobProgress &m_progress;
};

class JobWindow final : public QProgressDialog
{
public:
    JobWindow(QWidget *parent, const QString &title, JobProgress &progress)
        : QProgressDialog(parent), m_progress(progress)
    {
        setObjectName(QStringLiteral("jobDialog"));
        setWindowTitle(title);
        setWindowModality(Qt::ApplicationModal);
        setMinimumDuration(0);
        setAutoClose(false);
        setAutoReset(false);
        auto *label = new QLabel;
        label->setTextFormat(Qt::PlainText);
        setLabel(label);
        setMinimumWidth(fontMetrics().averageCharWidth() * 64);
        connect(this, &QProgressDialog::canceled, this, [this] {
            m_progress.cancel();
            show(); // it goes when the job does
            setCancelButton(nullptr);
            refresh();
        });
        m_clock.start();
    }

    void refresh()
    {
        const qint64 done = m_progress.done();
        const qint64 total = m_progress.total();
        setMaximum(total > 0 ? 1000 : 0);
        setValue(total > 0 ? static_cast<int>(qBound<qint64>(0, done * 1000 / total, 1000)) : 0);
        QString amount;
        if (m_progress.isCancelled())
            amount = tr("Ending...");
        else if (total > 0)
            amount = tr("%1 of %2").arg(text(done), text(total)) + rateText(done);
        const QString name =
            fontMetrics().elidedText(m_progress.name(), Qt::ElideMiddle, fontMetrics().averageCharWidth() * 60);
        setLabelText(QStringLiteral("%1\n%2\n%3").arg(m_progress.step(), name, amount));
    }

private:
    QString rateText(qint64 done) const
    {
        const qint64 ms = m_clock.elapsed();
        if (ms < 1000 || done <= 0)
            return {};
        return tr(", %1 a second").arg(text(done * 1000 / ms));
    }

    QString text(qint64 amount) const
    {
        const QLocale locale;
        return m_progress.unit() == JobProgress::Unit::Bytes
                   ? locale.formattedDataSize(amount, 1, QLocale::DataSizeSIFormat)
                   : locale.toString(amount);
    }

    JobProgress &m_progress;
    QElapsedTimer m_clock;
};

} // namespace

void runJob(QWidget *parent, const QString &title, const std::function<void(JobProgress &)> &job)
{
    JobProgress progress;
    JobThread thread(job, progress);
    QEventLoop loop;
    QTimer cursorTimer;
    QTimer windowTimer;
    QTimer refreshTimer;
    bool showWindow = false;
    bool busyCursor = false;
    cursorTimer.setSingleShot(true);
    windowTimer.setSingleShot(true);
    QObject::connect(&cursorTimer, &QTimer::timeout, &loop, [&busyCursor] {
        QApplication::setOverrideCursor(Qt::BusyCursor);
        busyCursor = true;
    });
    QObject::connect(&windowTimer, &QTimer::timeout, &loop, [&] {
        showWindow = true;
        loop.quit();
    });
    QObject::connect(&thread, &QThread::finished, &loop, &QEventLoop::quit);
    const NestedLoop nested;
    cursorTimer.start(cursorAfterMs);
    windowTimer.start(windowAfterMs);
    thread.start();
    loop.exec(QEventLoop::ExcludeUserInputEvents);
    cursorTimer.stop();
    windowTimer.stop();
    if (showWindow && !thread.isFinished()) {
        JobWindow window(parent, title, progress);
        QObject::connect(&refreshTimer, &QTimer::timeout, &window, [&window] { window.refresh(); });
        window.refresh();
        window.show();
        refreshTimer.start(refreshMs);
        if (!thread.isFinished())
            loop.exec();
    }
    thread.wait();
    if (busyCursor)
        QApplication::restoreOverrideCursor();
}
