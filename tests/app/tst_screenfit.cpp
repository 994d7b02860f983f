#include "app/screenfit.h"
#include "base/scrollframe.h"
#include "display/look/flowlayout.h"

#include <QDialog>
#include <QDialogButtonBox>
#include <QLabel>
#include <QPushButton>
#include <QScreen>
#include <QScrollBar>
#include <QTextEdit>
#include <QVBoxLayout>
#include <QtTest>

/// What is too large for the screen scrolls; what fits stays as it is.
class TestScreenFit : public QObject
{
    Q_OBJECT

private slots:
    void aDialogStaysOnTheScreen_data()
    {
        QTest::addColumn<int>("lines");
        QTest::addColumn<int>("width"); // of each
        QTest::addColumn<QString>("buttons");
        QTest::addColumn<bool>("scrolls");
        QTest::newRow("small") << 5 << 100 << QString() << false;
        QTest::newRow("high") << 200 << 100 << QString() << true;
        QTest::newRow("wide") << 5 << 4000 << QString() << true;
        QTest::newRow("high, its buttons beside others") << 200 << 100 << QStringLiteral("beside others") << true;
        QTest::newRow("high, buttons without a box") << 200 << 100 << QStringLiteral("plain") << true;
    }

    void aDialogStaysOnTheScreen()
    {
        QFETCH(int, lines);
        QFETCH(int, width);
        QFETCH(QString, buttons);
        const ScreenFit fit;
        QDialog dialog;
        auto *layout = new QVBoxLayout(&dialog);
        QLabel *last = nullptr;
        for (int i = 0; i < lines; ++i) {
            last = new QLabel(QString::number(i));
            last->setMinimumSize(width, 20);
            layout->addWidget(last);
        }
        QWidget *const accepting = buttons == QLatin1String("plain")
                                       ? static_cast<QWidget *>(new QPushButton(QStringLiteral("Add")))
                                       : new QDialogButtonBox(QDialogButtonBox::Ok);
        if (!buttons.isEmpty()) {
            auto *row = new QHBoxLayout;
            row->addWidget(new QPushButton(QStringLiteral("Reset")));
            row->addWidget(accepting);
            layout->addLayout(row);
        } else {
            layout->addWidget(accepting);
        }
        for (int shown = 0; shown < 2; ++shown) { // again is the same
            dialog.show();
            QCoreApplication::processEvents();
            const QSize room = dialog.screen()->availableSize();
            QCOMPARE(dialog.size().boundedTo(room), dialog.size());
            const QRect ok(accepting->mapTo(&dialog, QPoint()), accepting->size());
            QVERIFY(dialog.rect().contains(ok));
            QTEST(!dialog.findChildren<ScrollFrame *>().isEmpty(), "scrolls");
            if (auto *frame = dialog.findChild<ScrollFrame *>()) {
                frame->ensureWidgetVisible(last);
                QVERIFY(!last->visibleRegion().isEmpty());
            }
            dialog.hide();
        }
    }

    /// A row that wraps asks for height at a width, and what could be lower is lower: neither brings bars.
    void onlyWhatCannotBeSmallerScrolls_data()
    {
        QTest::addColumn<QSize>("size");
        QTest::addColumn<bool>("beside");
        QTest::addColumn<bool>("below");
        QTest::newRow("room for all") << QSize(700, 600) << false << false;
        QTest::newRow("the row wraps, the text is lower") << QSize(320, 260) << false << false;
        QTest::newRow("too low") << QSize(320, 120) << true << false;
        QTest::newRow("too narrow") << QSize(90, 900) << false << true;
        QTest::newRow("too narrow, and then too low") << QSize(90, 285) << true << true;
    }

    void onlyWhatCannotBeSmallerScrolls()
    {
        QFETCH(QSize, size);
        auto *content = new QWidget;
        auto *layout = new QVBoxLayout(content);
        layout->setContentsMargins(0, 0, 0, 0);
        layout->setSpacing(0);
        auto *row = new QWidget;
        auto *flow = new FlowLayout(row, 0);
        for (int i = 0; i < 6; ++i) {
            auto *tool = new QWidget;
            tool->setFixedSize(100, 30);
            flow->addWidget(tool);
        }
        auto *text = new QTextEdit; // would like to be higher
        text->setMinimumHeight(100);
        layout->addWidget(row);
        layout->addWidget(text, 1);
        ScrollFrame frame(content);
        frame.resize(700, 600);
        frame.show();
        frame.resize(size);
        QCoreApplication::processEvents();
        QTEST(frame.verticalScrollBar()->isVisible(), "beside");
        QTEST(frame.horizontalScrollBar()->isVisible(), "below");
        QVERIFY(text->height() >= 100);
    }
};

QTEST_MAIN(TestScreenFit)
#include "tst_screenfit.moc"
