#pragma once

#include <QString>
#include <QStringList>

/// Gives new block and event files of a sensor folder their names: numbers above every number in the folder, so that
/// nothing is written over and no number is used again.
class FileNumbers
{
public:
    /// Looks at the folder once. `alsoTaken` are names that are not there but known, as from an index.
    explicit FileNumbers(const QString &folder, const QStringList &alsoTaken = {});

    QString nextBlock();
    QString nextEvent();

private:
    void take(const QString &name);

    const QString m_folder;
    qint64 m_lastBlock = 0;
    qint32 m_lastEvent = 0;
};
