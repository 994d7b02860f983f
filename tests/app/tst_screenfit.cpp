#include "app/screenfit.h"
#include "base/scrollframe.h"
#include "display/look/flowlayout.h"

#include <QDialog>
#include <QDialogButtonBox>
#include <QLabel>
#include <QPushButton>
#include <QScreen>
#include <QScrollBar>
#include <QSplitter>
#include <QStackedLayout>
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

    /// In a column of a splitter a title takes more lines than at the full width.
    void aTitleThatWrapsIsNotCovered()
    {
        auto *content = new QWidget;
        auto *layout = new QVBoxLayout(content);
        auto *splitter = new QSplitter;
        layout->addWidget(splitter);
        splitter->addWidget(new QTextEdit);
        auto *column = new QWidget;
        auto *stack = new QStackedLayout(column);
        auto *page = new QWidget;
        stack->addWidget(page);
        auto *details = new QVBoxLayout(page);
        auto *title = new QLabel;
        title->setWordWrap(true);
        title->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred);
        title->setText(QStringLiteral("A run of a sensor with a long name in a chamber with a long name"));
        details->addWidget(title);
        auto *plot = new QWidget;
        plot->setMinimumHeight(200);
        details->addWidget(plot, 1);
        auto *table = new QWidget;
        table->setFixedHeight(40);
        details->addWidget(table);
        splitter->addWidget(column);
        splitter->setSizes({200, 200});
        ScrollFrame frame(content);
        frame.resize(500, 100);
        frame.show();
        QCoreApplication::processEvents();
        QVERIFY(title->heightForWidth(title->width()) > 2 * title->fontMetrics().lineSpacing() - 2);
        QVERIFY(title->height() >= title->heightForWidth(title->width()));
        QVERIFY(plot->height() >= 200 && plot->geometry().bottom() < table->geometry().top());
        QVERIFY(page->rect().contains(table->geometry()));
    }
};

QTEST_MAIN(TestScreenFit)
#include "tst_screenfit.moc"
