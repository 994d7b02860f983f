#include "data/journalfile.h"

#include <QFile>
#include <QtTest>

namespace {

using journalfile::Entry;
using journalfile::Found;
using Record = DurableLog::Record;

journalfile::Header header(quint64 number = 7)
{
    journalfile::Header header;
    for (std::size_t i = 0; i < header.id.size(); ++i)
        header.id[i] = static_cast<char>(i + 1);
    header.number = number;
    return header;
}

const QVector<Entry> entries{
    {"S1-A", Record::Samples, "some samples"},
    {"S2-\xc3\xa4", Record::Event, QByteArray(300, 'e')},
    {"S1-A", Record::TimeLine, QByteArray(16, '\0')},
    {"S1-A", Record::Recipe, QByteArray()},
};

QByteArray journal(quint64 number = 7)
{
    QByteArray bytes;
    journalfile::appendHeader(bytes, header(number));
    for (const Entry &entry : entries)
        journalfile::appendEntry(bytes, header(number), static_cast<quint64>(bytes.size()), entry);
    return bytes;
}

/// The good records as "type sensor size", then how the reading ended.
QString reading(const QByteArray &bytes)
{
    journalfile::Header found;
    QString reason;
    if (!journalfile::decodeHeader(bytes.constData(), bytes.size(), found, &reason))
        return reason;
    QString text;
    qint64 offset = journalfile::headerSize;
    while (true) {
        Entry entry;
        qint64 next = 0;
        const Found what = journalfile::decodeEntry(bytes.constData(), bytes.size(), offset, found, entry, next);
        if (what == Found::End)
            return text + QStringLiteral("end");
        if (what == Found::Invalid)
            return text + QStringLiteral("invalid");
        text += QStringLiteral("%1 %2 %3, ")
                    .arg(int(entry.type))
                    .arg(QString::fromUtf8(entry.sensor))
                    .arg(entry.payload.size());
        if (next <= offset)
            return text + QStringLiteral("stuck");
        offset = next;
    }
}

const QString whole = QStringLiteral("1 S1-A 12, 2 S2-\u00e4 300, 5 S1-A 16, 4 S1-A 0, end");

} // namespace

class TestJournalFile : public QObject
{
    Q_OBJECT

private slots:
    void bytesAreFixed();
    void everyCut();
    void everyFlippedByteIsSeen();
    void recordsBelongToTheirPlace();
    void headers_data();
    void headers();
    void lyingLengths();
    void names();
};

void TestJournalFile::bytesAreFixed()
{
    QFile golden(QStringLiteral(NORVEX_TEST_DATA "/store/00000007.norvexjournal"));
    QVERIFY(golden.open(QIODevice::ReadOnly));
    QCOMPARE(journal(), golden.readAll());
    QCOMPARE(reading(journal()), whole);
}

void TestJournalFile::everyCut()
{
    const QByteArray bytes = journal();
    QVector<int> ends{journalfile::headerSize};
    for (const Entry &entry : entries)
        ends.append(ends.last() + journalfile::recordHeaderSize + entry.sensor.size() + entry.payload.size());
    QCOMPARE(ends.last(), bytes.size());
    for (int length = 0; length < bytes.size(); ++length) {
        const QString found = reading(bytes.left(length));
        if (length < journalfile::headerSize)
            QCOMPARE(found, QStringLiteral("the header is cut short"));
        else
            QVERIFY2(found.endsWith(ends.contains(length) ? QStringLiteral("end") : QStringLiteral("invalid")),
                     qPrintable(QStringLiteral("%1: %2").arg(length).arg(found)));
    }
}

void TestJournalFile::everyFlippedByteIsSeen()
{
    const QByteArray bytes = journal();
    for (int i = 0; i < bytes.size(); ++i) {
        QByteArray damaged = bytes;
        damaged[i] = static_cast<char>(damaged.at(i) ^ 4);
        const QString found = reading(damaged);
        QVERIFY2(found.endsWith(QStringLiteral("invalid")) || i < journalfile::headerSize, qPrintable(found));
        QVERIFY(found != whole);
    }
}

void TestJournalFile::recordsBelongToTheirPlace()
{
    const QByteArray seven = journal(7);
    const QByteArray eight = journal(8);
    QCOMPARE(reading(seven.left(journalfile::headerSize) + eight.mid(journalfile::headerSize)),
             QStringLiteral("invalid"));
    // A record that stands elsewhere in the same file.
    const int first = journalfile::recordHeaderSize + entries[0].sensor.size() + entries[0].payload.size();
    const QByteArray record = seven.mid(journalfile::headerSize, first);
    QCOMPARE(reading(seven.left(journalfile::headerSize) + record + record), QStringLiteral("1 S1-A 12, invalid"));
    QCOMPARE(reading(seven + QByteArray(4096, '\0')),
             QString(whole).replace(QStringLiteral("end"), QStringLiteral("invalid")));
}

void TestJournalFile::headers_data()
{
    QTest::addColumn<int>("offset");
    QTest::addColumn<QString>("reason");
    QTest::newRow("magic") << 0 << "it is not a journal";
    QTest::newRow("version") << 11 << "the header is damaged";
    QTest::newRow("id") << 20 << "the header is damaged";
    QTest::newRow("number") << 35 << "the header is damaged";
    QTest::newRow("checksum") << 39 << "the header is damaged";
}

void TestJournalFile::headers()
{
    QFETCH(int, offset);
    QFETCH(QString, reason);
    QByteArray bytes = journal();
    bytes[offset] = static_cast<char>(bytes.at(offset) ^ 1);
    QCOMPARE(reading(bytes), reason);
}

void TestJournalFile::lyingLengths()
{
    QByteArray bytes = journal();
    for (const char *length : {"\xff\xff\xff\xff", "\x7f\xff\xff\xff", "\x25\x80\x00\x00"}) {
        bytes.replace(journalfile::headerSize, 4, QByteArray(length, 4));
        QCOMPARE(reading(bytes), QStringLiteral("invalid"));
    }
}

void TestJournalFile::names()
{
    QCOMPARE(journalfile::fileName(7), QStringLiteral("00000007.norvexjournal"));
    QCOMPARE(journalfile::numberOf(QStringLiteral("00000007.norvexjournal")), quint64(7));
    QCOMPARE(journalfile::numberOf(journalfile::fileName(123456789)), quint64(123456789));
    for (const char *name : {"7.norvexjournal", "0000000x.norvexjournal", "00000007.norvexjournal.kept", "00000007",
                             "+0000007.norvexjournal", "00000000.norvexjournal"})
        QCOMPARE(journalfile::numberOf(QString::fromLatin1(name)), quint64(0));
}

QTEST_GUILESS_MAIN(TestJournalFile)
#include "tst_journalfile.moc"
