#pragma once

#include <QByteArray>
#include <QFile>
#include <QList>
#include <QVector>

/// What a simulated sensor wrote into its ledger file, read by another process than the one that recorded.
struct LedgerFile
{
    struct Item
    {
        quint32 boot = 0;
        qint64 time = 0; // samples: ms, events: us; the sensor's clock
        int typeCode = -1;
        quint32 checksum = 0;
        bool cleared = false;
        bool lost = false;
    };
    QVector<Item> samples;
    QVector<Item> events;

    static LedgerFile read(const QString &path)
    {
        LedgerFile ledger;
        QFile file(path);
        if (!file.open(QIODevice::ReadOnly))
            return ledger;
        while (!file.atEnd()) {
            const QList<QByteArray> words = file.readLine().trimmed().split(' ');
            if (words.size() >= 3)
                ledger.take(words);
        }
        return ledger;
    }

private:
    void take(const QList<QByteArray> &words)
    {
        const QByteArray &kind = words.at(0);
        if (kind == "S" && words.size() == 5) {
            samples.append({words.at(2).toUInt(), words.at(3).toLongLong(), -1, words.at(4).toUInt(nullptr, 16)});
        } else if (kind == "E" && words.size() == 6) {
            events.append(
                {words.at(2).toUInt(), words.at(3).toLongLong(), words.at(4).toInt(), words.at(5).toUInt(nullptr, 16)});
        } else if (kind == "CS" || kind == "LS") {
            mark(samples, words, kind.at(0) == 'C');
        } else if (kind == "CE" || kind == "LE") {
            mark(events, words, kind.at(0) == 'C');
        }
    }

    static void mark(QVector<Item> &items, const QList<QByteArray> &words, bool cleared)
    {
        const int first = words.at(1).toInt();
        for (int i = first; i < first + words.at(2).toInt() && i < items.size(); ++i)
            (cleared ? items[i].cleared : items[i].lost) = true;
    }
};
