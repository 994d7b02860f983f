#include "base/json.h"
#include "base/platform.h"

#include <QJsonArray>
#include <QJsonObject>
#include <QtTest>

class tst_json : public QObject
{
    Q_OBJECT

private slots:
    void aRepeatedKeyThatHoldsMoreIsRefused_data()
    {
        QTest::addColumn<QByteArray>("text");
        QTest::addColumn<int>("offset"); // of the refusal, -1 for none
        const auto row = [](const char *text, int offset) {
            QTest::newRow(QByteArray(text).simplified().constData()) << QByteArray(text) << offset;
        };
        row("{\"a\":[1],\"a\":2}", 9);
        row("{\"a\":1,\"a\":{}}", 7);
        row("{\"a\" : [ ] , \t\n\"a\"\r: 5}", 15);
        row("[0,{\"b\":{\"a\":{},\"a\":{}}}]", 16);
        row("{\"a\":{},\"\\u0061\":1}", 8);
        row("{\"a\":{},\"\\a\":1}", 8);
        row("{\"\\n\\\"\":{},\"\\u000a\\u0022\":1}", 11);
        row("{\"\xC2\xB5\":{},\"\\u00B5\":1}", 9);
        row("{\"a\":[],\"a\":1", 8); // the parser would have lost the array before it sees the end
        row("{\"a\":1,\"a\":2}", -1);
        row("{\"a\":{\"a\":{}},\"b\":{\"a\":[]}}", -1);
        row("[{\"a\":[]},{\"a\":[]}]", -1);
        row("{\"x\":\"\\\"a\\\":{},\\\"a\\\":{}\",\"a\":1}", -1);
        row("{\"a\":[\"a\",\"a\"],\"b\":\"a\"}", -1);
    }

    void aRepeatedKeyThatHoldsMoreIsRefused()
    {
        QFETCH(QByteArray, text);
        QFETCH(int, offset);
        QJsonParseError error{};
        const QJsonDocument document = parseJson(text, &error);
        if (offset < 0) {
            QCOMPARE(error.error, QJsonParseError::NoError);
            QCOMPARE(document, QJsonDocument::fromJson(text));
            QVERIFY(!document.isNull());
        } else {
            QVERIFY(document.isNull());
            QCOMPARE(error.error, QJsonParseError::IllegalValue);
            QCOMPARE(error.offset, offset);
        }
    }

    void aPeerCannotGrowTheProgram()
    {
        QByteArray text("{");
        while (text.size() < 1 << 20)
            text += "\"a\":[1],\"\\u0061\":{\"b\":1},";
        text += "\"a\":1}";
        parseJson(text);
        const qint64 before = platform::residentMemory();
        for (int i = 0; i < 10; ++i)
            QVERIFY(parseJson(text).isNull());
        // The toolkit's own parser keeps about 10 MB of each.
        const qint64 grown = platform::residentMemory() - before;
        QVERIFY2(grown < 32 << 20, qPrintable(QString::number(grown)));
    }

    void theParsersOwnErrorsStay()
    {
        for (const QByteArray text : {"", "{", "]", "{\"a\":}", "\"", "\"\\", "{\"a\\", "}}", "[1e]", "nonsense"}) {
            QJsonParseError own{};
            QJsonParseError error{};
            QJsonDocument::fromJson(text, &own);
            QVERIFY(parseJson(text, &error).isNull());
            QCOMPARE(error.error, own.error);
        }
    }

    void deepNestingIsLeftToTheParser()
    {
        const int depth = 100000;
        QJsonParseError error{};
        QVERIFY(parseJson(QByteArray(depth, '[') + QByteArray(depth, ']'), &error).isNull());
        QCOMPARE(error.error, QJsonParseError::DeepNesting);
    }
};

QTEST_APPLESS_MAIN(tst_json)
#include "tst_json.moc"
