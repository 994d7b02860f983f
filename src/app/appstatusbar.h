#pragma once

#include <QStatusBar>
#include <QStringList>

class ElidedLabel;
class QLabel;
class QToolButton;

/// The status bar, always in the same order: session path, time of the last save, free disk, connected sensors, time
/// mode, last problem. Problems in the background are counted and listed here and never open a box. In a narrow window
/// what is least needed gives way. GUI thread.
class AppStatusBar : public QStatusBar
{
    Q_OBJECT

public:
    explicit AppStatusBar(QWidget *parent = nullptr);

    void setSession(const QString &path);
    /// `lastSaveMs`: ms since the epoch, 0 before the first save.
    void setSaved(bool unsaved, qint64 lastSaveMs, qint64 nowMs);
    /// `bytesPerHour` 0: the rate is not known, the free space is said in bytes.
    void setDisk(qint64 freeBytes, double bytesPerHour);
    void setSensors(int connected, int all);
    void setTimeMode(const QString &text);
    void addProblem(const QString &text);
    const QStringList &problems() const { return m_problems; }

    static QString savedText(bool unsaved, qint64 lastSaveMs, qint64 nowMs);
    static QString diskText(qint64 freeBytes, double bytesPerHour);

    QSize minimumSizeHint() const override;

protected:
    void resizeEvent(QResizeEvent *event) override;

private:
    void showProblems();
    void fit();

    ElidedLabel *m_path = nullptr;
    QLabel *m_saved = nullptr;
    QLabel *m_disk = nullptr;
    QLabel *m_sensors = nullptr;
    QLabel *m_timeMode = nullptr;
    QToolButton *m_problem = nullptr;
    QStringList m_problems; // newest last, with time and count
    QString m_lastText;
    int m_lastCount = 0;
};
