#pragma once

#include <QString>
#include <QVector>

#include <functional>

/// Finds the samples that more than one block file holds. Only files whose time ranges meet are read for it, and at
/// most a bounded number of times is in memory at once: real recordings overlap little or not at all.
class OverlapSearch
{
public:
    struct File
    {
        int number = 0; // the caller's
        int rank = 0;   // of two that hold the same sample the one of the lower rank, then number, keeps it
        quint64 firstTime = 0;
        quint64 lastTime = 0;
    };
    struct Doubled
    {
        int file = 0;
        QVector<quint64> times; // rising; that a file before this one holds, too
    };
    /// The times of a file's samples, rising.
    using TimesOf = std::function<QVector<quint64>(int number)>;

    explicit OverlapSearch(const TimesOf &timesOf) : m_timesOf(timesOf) {}

    QVector<Doubled> run(QVector<File> files);
    /// Some files were not compared because too many overlap.
    bool gaveUp() const { return m_gaveUp; }

private:
    struct Active
    {
        File file;
        bool read = false;
        QVector<quint64> times;
        QVector<quint64> doubled;
    };

    void compare(Active &a, Active &b);
    const QVector<quint64> &timesOf(Active &active);
    void retire(QVector<Active> &active, quint64 before, QVector<Doubled> &result);

    const TimesOf m_timesOf;
    qint64 m_held = 0;
    bool m_gaveUp = false;
};

/// The times of a block file's readable samples, rising; empty when it cannot be read.
QVector<quint64> timesOfBlock(const QString &path);
