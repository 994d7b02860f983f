#pragma once

#include "data/samplepoint.h"

#include <QString>
#include <QStringList>
#include <QVector>

class FileNumbers;

/// A block file that was written or is known, as the index lists it.
struct BlockPiece
{
    QString name;
    quint64 firstTime = 0; // earliest and latest sample, us
    quint64 lastTime = 0;
    qint64 count = 0;
};

/// Writes samples into new block files of the usual size under free numbers of a folder. Holds one block in memory.
class BlockPieces
{
public:
    BlockPieces(const QString &folder, FileNumbers &numbers) : m_folder(folder), m_numbers(numbers) {}

    /// False after the first failure, and from then on; reason() says why. Files already written stay.
    bool add(const SamplePoint *samples, int count);
    /// Writes what is left.
    bool finish();
    /// The readable samples of a block file of any version, without those of the times in `without` (rising) and
    /// without a second one of the same time.
    bool copy(const QString &path, const QVector<quint64> &without);

    const QVector<BlockPiece> &written() const { return m_written; }
    QStringList fileNames() const;
    qint64 sampleCount() const;
    QString reason() const { return m_reason; }

private:
    bool flush();

    const QString m_folder;
    FileNumbers &m_numbers;
    QVector<SamplePoint> m_samples;
    QVector<BlockPiece> m_written;
    QString m_reason;
};
