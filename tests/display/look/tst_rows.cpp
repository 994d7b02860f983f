#include "display/look/commandrow.h"
#include "display/look/rowsarea.h"

#include <QLabel>
#include <QLayout>
#include <QMenu>
#include <QPushButton>
#include <QScrollBar>
#include <QtTest>

/// Rows of things for which a window may be too narrow.
class TestRows : public QObject
{
    Q_OBJECT

private slots:
    void commandsWithoutRoomAreInTheMenu_data()
    {
        QTest::addColumn<int>("width");
        QTest::addColumn<int>("inMenu");
        QTest::newRow("room for all") << 1000 << 0;
        QTest::newRow("just enough") << 4 * 106 - 6 << 0;
        QTest::newRow("a pixel too narrow") << 4 * 106 - 7 << 1;
        QTest::newRow("\"More\" wants its place, too") << 3 * 106 << 2;
        QTest::newRow("narrow") << 250 << 3;
        QTest::newRow("nothing but what is no button") << 10 << 3;
    }

    void commandsWithoutRoomAreInTheMenu()
    {
        QFETCH(int, width);
        QFETCH(int, inMenu);
        CommandRow row;
        auto *first = new QLabel;
        first->setFixedSize(100, 20);
        row.addWidget(first);
        QVector<QPushButton *> buttons;
        QString pressed;
        for (int i = 0; i < 4; ++i) {
            auto *button = new QPushButton(QStringLiteral("Command %1").arg(i));
            button->setFixedSize(100, 20);
            connect(button, &QPushButton::released, &row, [&pressed, button] { pressed = button->text(); });
            row.addWidget(button);
            buttons.append(button);
        }
        buttons.at(1)->hide(); // by its owner: nowhere
        buttons.at(3)->setEnabled(false);
        row.show();
        for (const int there : {1000, width, 30, width}) { // whatever was before
            row.resize(there, 20);
            QCoreApplication::processEvents();
        }
        auto *more = row.findChild<QPushButton *>(QStringLiteral("b_moreCommands"));
        QCOMPARE(more->isVisible(), inMenu > 0);
        emit more->menu()->aboutToShow();
        const QList<QAction *> actions = more->menu()->actions();
        QCOMPARE(actions.size(), inMenu);
        for (int i = 0; i < 4; ++i)
            QCOMPARE(buttons.at(i)->isVisible(), i != 1 && (i > 1 ? i - 1 : i) < 3 - inMenu);
        QVERIFY(first->isVisible());
        if (inMenu == 0)
            return;
        QVERIFY(!actions.last()->isEnabled());
        actions.first()->trigger();
        QCOMPARE(pressed, inMenu == 1 ? QString() : actions.first()->text());
    }

    void manyRowsScroll_data()
    {
        QTest::addColumn<int>("things");
        QTest::addColumn<int>("height");
        QTest::newRow("none") << 0 << 0;
        QTest::newRow("one row") << 3 << 30;
        QTest::newRow("as many as are shown") << 6 << 64;
        QTest::newRow("many") << 64 << 64;
    }

    void manyRowsScroll()
    {
        QFETCH(int, things);
        RowsArea area(2, 4);
        for (int i = 0; i < things; ++i) {
            auto *thing = new QLabel;
            thing->setFixedSize(90, 30);
            area.widget()->layout()->addWidget(thing);
        }
        area.resize(300, 400);
        area.show();
        QTEST(area.sizeHint().height(), "height");
        area.resize(300, area.sizeHint().height());
        QCoreApplication::processEvents();
        QCOMPARE(area.verticalScrollBar()->maximum() > 0, things > 6);
        area.showAllRows();
        QCOMPARE(area.sizeHint().height(), things == 0 ? 0 : ((things + 2) / 3) * 34 - 4);
    }
};

QTEST_MAIN(TestRows)
#include "tst_rows.moc"
