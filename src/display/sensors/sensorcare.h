#pragma once

#include <QCoreApplication>
#include <QString>

#include <memory>

class AppSettings;
class Prompts;
class QWidget;
class norvexData;

/// What the user does to the stored data of one sensor, with its boxes and progress: import of a table, another look at
/// the events with another configuration. The work is done on threads of its own. GUI thread.
class SensorCare
{
    Q_DECLARE_TR_FUNCTIONS(SensorCare)

public:
    SensorCare(QWidget *window, Prompts &prompts, const std::shared_ptr<norvexData> &store,
               const QString &sessionFolder);

    /// True when samples were added. The settings keep what zone the last table's times had.
    bool importTable(AppSettings &settings);
    /// Asks for a configuration, looks at the stored events with it and shows what changed its class. What is displayed
    /// does not change by it.
    enum class Reanalysed { Nothing, Done, Show };
    Reanalysed reanalyse();
    /// Shows the events with the codes of the last reanalysis. False, after a box, when there is none.
    bool showReanalysis();
    void showOriginal();

private:
    QWidget *m_window;
    Prompts &m_prompts;
    std::shared_ptr<norvexData> m_store;
    const QString m_sessionFolder;
};
