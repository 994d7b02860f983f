#include "data/eventtypelist.h"
#include "display/look/theme.h"
#include "display/look/themedstyle.h"

#include <QApplication>
#include <QPainter>
#include <QSignalSpy>
#include <QStyleOptionButton>
#include <QTest>

class TestTheme : public QObject
{
    Q_OBJECT

private slots:
    void coloursContrast_data();
    void coloursContrast();
    void eventClassesAreDistinct();
    void palettesFollowTheKind();
    void systemPaletteIsFollowed();
    void anEmptyBoxIsSeen();
};

void TestTheme::coloursContrast_data()
{
    QTest::addColumn<int>("kind");
    QTest::newRow("light") << int(Theme::Kind::Light);
    QTest::newRow("dark") << int(Theme::Kind::Dark);
}

void TestTheme::coloursContrast()
{
    QFETCH(int, kind);
    const Theme theme(Theme::Kind(kind), nullptr);
    for (int sensor = 0; sensor < 14; ++sensor)
        for (const bool right : {false, true})
            QVERIFY2(Theme::contrast(theme.curvePen(Theme::sensorColour(sensor), sensor, right).color(),
                                     theme.canvas()) >= (right ? 2.4 : 3.0),
                     qPrintable(QStringLiteral("sensor %1").arg(sensor)));
    for (int code = 0; code < eventtype::builtInCount; ++code)
        QVERIFY2(Theme::contrast(theme.eventColour(code), theme.canvas()) >= 3.0, qPrintable(QString::number(code)));
    for (const QColor &ink :
         {theme.text(), theme.mutedText(), theme.good(), theme.warning(), theme.bad(), theme.accent(), theme.runText()})
        QVERIFY2(Theme::contrast(ink, theme.window()) >= 4.5, qPrintable(ink.name()));
    // A colour of the user's own is moved until it can be seen.
    QVERIFY(Theme::contrast(theme.themed(QColor(0x101010)), theme.canvas()) >= 3.2);
}

void TestTheme::eventClassesAreDistinct()
{
    const Theme theme(Theme::Kind::Light);
    for (int a = 0; a < eventtype::builtInCount; ++a)
        for (int b = 0; b < a; ++b)
            QVERIFY2(theme.eventColour(a) != theme.eventColour(b), qPrintable(QString::number(a)));
    QVERIFY(Theme::eventShape(eventtype::E11) != Theme::eventShape(eventtype::E12));
    QCOMPARE(int(Theme::eventShape(eventtype::E11)), int(Theme::eventShape(eventtype::E31)));
    QCOMPARE(int(Theme::eventShape(99)), int(MarkerShape::Pentagon));
}

void TestTheme::palettesFollowTheKind()
{
    Theme theme(Theme::Kind::Light);
    QSignalSpy changes(&theme, &Theme::changed);
    theme.setKind(Theme::Kind::Dark);
    theme.setKind(Theme::Kind::Dark);
    QCOMPARE(changes.count(), 1);
    QVERIFY(theme.isDark());
    QVERIFY(theme.palette().color(QPalette::Base).lightness() < 60);
    QCOMPARE(int(Theme::kindFromText(Theme::kindText(Theme::Kind::Dark))), int(Theme::Kind::Dark));
    QCOMPARE(int(Theme::kindFromText(QStringLiteral("?"))), int(Theme::Kind::System));
}

void TestTheme::systemPaletteIsFollowed()
{
    const QPalette before = QApplication::palette();
    Theme theme(Theme::Kind::System);
    QVERIFY(!theme.isDark());
    QSignalSpy changes(&theme, &Theme::changed);
    QApplication::setPalette(QPalette(QColor(30, 30, 30)));
    QCoreApplication::sendPostedEvents();
    QCOMPARE(changes.count(), 1);
    QVERIFY(theme.isDark());
    QApplication::setPalette(before);
}

void TestTheme::anEmptyBoxIsSeen()
{
    const Theme theme(Theme::Kind::Dark);
    const ThemedStyle style;
    for (const auto element : {QStyle::PE_IndicatorCheckBox, QStyle::PE_IndicatorRadioButton}) {
        QImage picture(15, 15, QImage::Format_RGB32);
        picture.fill(theme.window());
        QPainter painter(&picture);
        QStyleOptionButton option;
        option.rect = picture.rect();
        option.palette = theme.palette();
        option.state = QStyle::State_Enabled | QStyle::State_Off;
        style.drawPrimitive(element, &option, &painter);
        painter.end();
        QVERIFY2(Theme::contrast(picture.pixelColor(0, 7), theme.window()) >= 3,
                 qPrintable(picture.pixelColor(0, 7).name()));
    }
}

QTEST_MAIN(TestTheme)
#include "tst_theme.moc"
