#include "base/crc32c.h"

#include <QtTest>

/// The vectors of RFC 3720, appendix B.4, and the check value of the CRC catalogues.
class tst_crc32c : public QObject
{
    Q_OBJECT

private slots:
    void knownVectors_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<quint32>("checksum");
        QByteArray rising;
        for (char byte = 0; byte < 32; ++byte)
            rising.append(byte);
        QByteArray falling = rising;
        std::reverse(falling.begin(), falling.end());
        QTest::newRow("nothing") << QByteArray() << 0U;
        QTest::newRow("check value") << QByteArray("123456789") << 0xE3069283U;
        QTest::newRow("32 zeros") << QByteArray(32, '\0') << 0x8A9136AAU;
        QTest::newRow("32 ones") << QByteArray(32, '\xFF') << 0x62A8AB43U;
        QTest::newRow("rising") << rising << 0x46DD794EU;
        QTest::newRow("falling") << falling << 0x113FDB5CU;
    }

    void knownVectors()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(quint32, checksum);
        QCOMPARE(crc32c(bytes.constData(), size_t(bytes.size())), checksum);
    }

    void aChecksumGoesOnWhereTheLastEnded()
    {
        QByteArray bytes;
        for (int i = 0; i < 41; ++i)
            bytes.append(char(i * 37));
        const quint32 whole = crc32c(bytes.constData(), size_t(bytes.size()));
        for (int split = 0; split <= bytes.size(); ++split) {
            const quint32 head = crc32c(bytes.constData(), size_t(split));
            QCOMPARE(crc32c(bytes.constData() + split, size_t(bytes.size() - split), head), whole);
        }
    }
};

QTEST_APPLESS_MAIN(tst_crc32c)
#include "tst_crc32c.moc"
