#include "app/documentwindow.h"
#include "app/helppages.h"
#include "app/importdialog.h"
#include "data/norvexdata.h"
#include "display/plot/axisrangedialog.h"
#include "display/plot/timeaxis.h"
#include "display/sensors/dataobjectwidget.h"
#include "display/sensors/importtabledialog.h"
#include "display/sensors/reanalysisresultdialog.h"
#include "display/sensors/sessionform.h"
#include "events/eventtypecreator.h"
#include "session/session.h"
#include "simulator/sensorsimulator.h"
#include "support/pseudotranslator.h"
#include "support/windowparts.h"

#include <QAbstractItemView>
#include <QAbstractSpinBox>
#include <QAccessible>
#include <QCheckBox>
#include <QComboBox>
#include <QDialogButtonBox>
#include <QGroupBox>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QMenuBar>
#include <QMessageBox>
#include <QPushButton>
#include <QRadioButton>
#include <QScrollArea>
#include <QSplitter>
#include <QTextEdit>
#include <QToolButton>
#include <QtTest>

#include <algorithm>
#include <functional>

namespace {

constexpr int patience = 20000;

QString nameOf(const QWidget *widget)
{
    const QString name = widget->objectName();
    return QLatin1String(widget->metaObject()->className()) + (name.isEmpty() ? name : QLatin1Char(' ') + name);
}

/// What a user works with, and not a piece of such a thing.
bool isControl(const QWidget *widget)
{
    if (qobject_cast<const QHeaderView *>(widget) || qobject_cast<const QAbstractSpinBox *>(widget->parentWidget()) ||
        qobject_cast<const QComboBox *>(widget->parentWidget()) ||
        widget->objectName().startsWith(QLatin1String("qt_")) ||
        qobject_cast<const QAbstractItemView *>(widget->parentWidget()) ||
        qobject_cast<const QLineEdit *>(widget->parentWidget()))
        return false;
    return qobject_cast<const QAbstractButton *>(widget) || qobject_cast<const QComboBox *>(widget) ||
           qobject_cast<const QLineEdit *>(widget) || qobject_cast<const QAbstractSpinBox *>(widget) ||
           qobject_cast<const QAbstractItemView *>(widget) || qobject_cast<const QTextEdit *>(widget);
}

QList<QWidget *> visibleIn(QWidget *window)
{
    QList<QWidget *> found;
    const QList<QWidget *> all = window->findChildren<QWidget *>();
    for (QWidget *widget : all) {
        if (widget->isVisibleTo(window) && widget->window() == window)
            found.append(widget);
    }
    return found;
}

QString accessibleName(QWidget *widget)
{
    QAccessibleInterface *const interface = QAccessible::queryAccessibleInterface(widget);
    return interface ? interface->text(QAccessible::Name) : QString();
}

bool isWords(const QString &text)
{
    static const QRegularExpression words(QStringLiteral("^[^#].*[A-Za-z]{3,}")); // and not "#048ACB"
    return words.match(text).hasMatch();
}

/// What is left of a text when translations and data are taken from it has no words.
bool isMarked(QString text)
{
    text = PseudoTranslator::untranslated(text);
    // Paths, units, names of the simulated sensor and of its things, examples, and the program's own name.
    static const QRegularExpression data(
        QStringLiteral("(/|\\w+[.])[^ \n]*|MHz|UTC|SN1|Etch|Oxide etch|Mon-05-Feb-2024|NOTANEVENT|SNAP|E_PE|"
                       "Type : [^\n]*|Norvex - RF Event Detector"));
    return !isWords(text.remove(data));
}

/// The words of a control that has more than one text.
QStringList shownIn(const QWidget *widget)
{
    QStringList all;
    if (const auto *label = qobject_cast<const QLabel *>(widget))
        all.append(label->text());
    if (const auto *box = qobject_cast<const QComboBox *>(widget)) {
        for (int item = 0; item < box->count(); ++item)
            all.append(box->itemText(item));
    }
    if (const auto *line = qobject_cast<const QLineEdit *>(widget))
        all.append(line->placeholderText());
    if (const auto *header = qobject_cast<const QHeaderView *>(widget)) {
        for (int section = 0; header->model() && section < header->count(); ++section)
            all.append(header->model()->headerData(section, header->orientation()).toString());
    }
    return all;
}

QByteArray lines(const QStringList &list)
{
    return list.join(QLatin1Char('\n')).toUtf8();
}

/// The width that a control needs for its text.
int neededWidth(const QWidget *widget)
{
    if (const auto *label = qobject_cast<const QLabel *>(widget))
        return label->wordWrap() ? 0 : label->minimumSizeHint().width();
    if (const auto *tool = qobject_cast<const QToolButton *>(widget))
        return tool->text().isEmpty() ? 0 : tool->fontMetrics().size(Qt::TextShowMnemonic, tool->text()).width();
    if (const auto *box = qobject_cast<const QComboBox *>(widget)) {
        constexpr int arrowAndFrame = 24;
        return box->isEditable() ? 0 : box->fontMetrics().horizontalAdvance(box->currentText()) + arrowAndFrame;
    }
    if (qobject_cast<const QPushButton *>(widget) || qobject_cast<const QCheckBox *>(widget) ||
        qobject_cast<const QRadioButton *>(widget))
        return widget->minimumSizeHint().width();
    return 0;
}

} // namespace

/// Every window, in a language that is 40 % longer: it has a page of the guide, everything in it has a name, is reached
/// by keyboard in the order of reading, is translated and fits.
class TestWindows : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void cleanupTestCase();
    void everyWindowIsSeen();
    void everyPageOfTheHelpIsThere();
    void f1OpensThePage();
    void everyControlHasAName() { QVERIFY2(m_nameless.isEmpty(), lines(m_nameless).constData()); }
    void everyControlIsReachedByKeyboard() { QVERIFY2(m_unreached.isEmpty(), lines(m_unreached).constData()); }
    void theKeyboardGoesInTheOrderOfReading() { QVERIFY2(m_jumps.isEmpty(), lines(m_jumps).constData()); }
    void everyTextIsTranslated() { QVERIFY2(m_untranslated.isEmpty(), lines(m_untranslated).constData()); }
    void everyBoxIsTranslated();
    void everyTextFits() { QVERIFY2(m_clipped.isEmpty(), lines(m_clipped).constData()); }
    void everyWindowHasAPage() { QVERIFY2(m_withoutHelp.isEmpty(), lines(m_withoutHelp).constData()); }

private:
    QString folder(const QString &name) const { return m_parts.folder(name); }
    void walk();
    void look(QWidget *window, const QString &name);
    void lookAtHeader(const QHeaderView &header, const QString &name);
    void lookAtMenu(const QMenu *menu, const QString &name);
    void lookAtFocus(QWidget *window, const QString &name);
    void whileOpen(const QString &name, const std::function<void()> &open,
                   const std::function<void(QDialog *)> &further = {});

    WindowParts m_parts;
    PseudoTranslator m_language;
    std::unique_ptr<SensorSimulator> m_sensor;
    std::unique_ptr<MainWindow> m_window;

    QStringList m_seen;
    QStringList m_nameless;
    QStringList m_unreached;
    QStringList m_jumps;
    QStringList m_untranslated;
    QStringList m_clipped;
    QStringList m_withoutHelp;
};

void TestWindows::initTestCase()
{
    QCoreApplication::installTranslator(&m_language);
    SimulatorOptions options;
    options.serial = QStringLiteral("SN1");
    options.rate = 200;
    options.firstPauseMs = 0;
    m_sensor = std::make_unique<SensorSimulator>(options);
    QVERIFY(m_sensor->start());
    m_sensor->preload(3000, 5);
    m_window = m_parts.openWindow();
    m_window->resize(1600, 900);
    QVERIFY(m_window->startEmptySession());
    walk();
}

void TestWindows::cleanupTestCase()
{
    m_window->endNow();
    m_window.reset();
    QCoreApplication::removeTranslator(&m_language);
}

/// Calls what opens a dialog, which may run its own event loop, looks at it and closes it again.
void TestWindows::whileOpen(const QString &name, const std::function<void()> &open,
                            const std::function<void(QDialog *)> &further)
{
    QTimer timer;
    connect(&timer, &QTimer::timeout, this, [&] {
        const QWidgetList all = QApplication::topLevelWidgets();
        const auto isOpen = [](const QWidget *widget) {
            return qobject_cast<const QDialog *>(widget) && widget->isVisible();
        };
        const auto found = std::find_if(all.begin(), all.end(), isOpen);
        if (found == all.end())
            return;
        timer.stop();
        auto *const dialog = qobject_cast<QDialog *>(*found);
        look(dialog, name);
        if (further)
            further(dialog);
        dialog->reject();
    });
    timer.start(50);
    open();
    QTRY_VERIFY_WITH_TIMEOUT(m_seen.contains(name), patience);
}

void TestWindows::walk()
{
    QTest::qWait(50);
    look(m_window.get(), QStringLiteral("empty"));
    m_window->connectTo(QStringLiteral("127.0.0.1"), m_sensor->port(), QStringLiteral("Etch"));
    SessionForm *const form = m_window->form();
    const auto card = [form] { return form->card(QStringLiteral("SN1")); };
    QTRY_VERIFY_WITH_TIMEOUT(card() && card()->store()->sampleCount() > 1000 && card()->store()->eventCount() > 2,
                             patience);
    static const char *const views[] = {"live", "runs", "events", "runs overlay", "events overlay"};
    for (int view = 0; view < 5; ++view) {
        m_window->changeView(view);
        QTest::qWait(50);
        look(m_window.get(), QLatin1String(views[view]));
    }
    for (const char *button : {"b_viewSummary", "b_eventChart"}) {
        form->findChild<QPushButton *>(QLatin1String(button))->click();
        QTest::qWait(50);
        look(m_window.get(), QLatin1String(button));
    }
    m_window->changeView(0);
    const auto *const bar = m_window->findChild<QMenuBar *>(QStringLiteral("menuBar"));
    const auto menus = bar->findChildren<QMenu *>();
    for (const QMenu *menu : menus) {
        if (menu->parentWidget() == bar && !menu->title().contains(QLatin1Char('&')))
            m_unreached.append(QStringLiteral("menu ") + menu->title());
        lookAtMenu(menu, QStringLiteral("menu"));
    }

    whileOpen(QStringLiteral("connect"), [form] { form->addSensor(); });
    whileOpen(QStringLiteral("export choice"), [form] { form->exportData(); });
    whileOpen(QStringLiteral("export"), [card] { emit card()->exportRequested(); });
    const auto exportTables = [form] {
        QTimer::singleShot(10, form,
                           [form] { form->findChild<QPushButton *>(QStringLiteral("b_exportTables"))->click(); });
        form->exportData();
    };
    whileOpen(QStringLiteral("export tables"), exportTables);
    whileOpen(QStringLiteral("configure"), [card] { card()->configureSensor(); });
    whileOpen(QStringLiteral("about"), [this] { m_window->about(); });
    whileOpen(QStringLiteral("shortcuts"), [this] { m_window->showShortcuts(); });
    whileOpen(QStringLiteral("licences"), [this] { m_window->showLicences(); });
    whileOpen(QStringLiteral("guide"), [this] { m_window->helpHere(); });
    whileOpen(QStringLiteral("recipes"), [this] { m_window->openRecipeWindow(); });
    const auto show = [this](const QString &name, QDialog &dialog) { whileOpen(name, [&dialog] { dialog.show(); }); };
    eventTypeCreator creator(m_parts.dictionary, m_parts.prompts, m_window.get());
    show(QStringLiteral("types"), creator);
    ValueRangeDialog values(QStringLiteral("V"), QStringLiteral("V"), {0, 1}, m_window.get());
    show(QStringLiteral("axis"), values);
    TimeAxis axis;
    TimeRangeDialog times(axis, {1000000, 2000000}, m_window.get());
    show(QStringLiteral("time"), times);
    ImportDialog import({{QStringLiteral("/x"), QStringLiteral("1"), QStringLiteral("2")}}, {}, m_window.get());
    show(QStringLiteral("import"), import);
    const QByteArray lines = "time_us,voltage_V,current_A\n1,2,3\n2,2,3\n";
    QFile file(folder(QStringLiteral("a.csv")));
    QVERIFY(file.open(QIODevice::WriteOnly) && file.write(lines) == lines.size());
    file.close();
    ImportTableDialog table(QStringLiteral("a.csv"), lines, csvsamples::previewOf(file.fileName()), m_window.get());
    show(QStringLiteral("import table"), table);
    ReanalysisResultDialog changes(QStringLiteral("SN1"), {}, m_window.get());
    show(QStringLiteral("reanalysis"), changes);
}

void TestWindows::look(QWidget *window, const QString &name)
{
    QCoreApplication::sendPostedEvents(); // what came in last has its place only then
    m_seen.append(name);
    const auto &pages = helppages::pages();
    if (std::none_of(pages.begin(), pages.end(), [&](const helppages::Page &page) {
            return nameOf(window).split(QLatin1Char(' ')).contains(QLatin1String(page.widget));
        }))
        m_withoutHelp.append(name + QStringLiteral(": ") + nameOf(window));
    if (window != m_window.get() && !isMarked(window->windowTitle()))
        m_untranslated.append(name + QStringLiteral(": ") + window->windowTitle());
    const QList<QWidget *> widgets = visibleIn(window);
    for (QWidget *widget : widgets) {
        const QString what = name + QStringLiteral(": ") + nameOf(widget);
        if (isControl(widget) && accessibleName(widget).isEmpty())
            m_nameless.append(what);
        QString text;
        if (const auto *button = qobject_cast<QAbstractButton *>(widget))
            text = button->text();
        else if (const auto *box = qobject_cast<QGroupBox *>(widget))
            text = box->title();
        const bool isData = widget->objectName() == QLatin1String("legendEntry");
        if ((!isMarked(text) && !isData) || !isMarked(widget->toolTip()))
            m_untranslated.append(what + QStringLiteral(": ") + text + QLatin1Char('|') + widget->toolTip());
        for (const QString &shown : shownIn(widget)) {
            if (!isMarked(shown))
                m_untranslated.append(what + QStringLiteral(": ") + shown);
        }
        if (neededWidth(widget) > widget->width())
            m_clipped.append(what + QStringLiteral(": %1 > %2").arg(neededWidth(widget)).arg(widget->width()));
        if (const auto *header = qobject_cast<const QHeaderView *>(widget))
            lookAtHeader(*header, what);
        if (const auto *tool = qobject_cast<QToolButton *>(widget); tool && tool->menu())
            lookAtMenu(tool->menu(), what);
    }
    lookAtFocus(window, name);
}

/// Heads of columns are cut without a word; a scroll bar leads to the others.
void TestWindows::lookAtHeader(const QHeaderView &header, const QString &name)
{
    for (int section = 0; section < header.count() && header.orientation() == Qt::Horizontal; ++section) {
        const int needed = header.sectionSizeHint(section);
        if (!header.isSectionHidden(section) && needed > header.sectionSize(section))
            m_clipped.append(
                name + QStringLiteral(" column %1: %2 > %3").arg(section).arg(needed).arg(header.sectionSize(section)));
    }
}

void TestWindows::lookAtMenu(const QMenu *menu, const QString &name)
{
    for (const QAction *action : menu->actions()) {
        if (!isMarked(action->text()) && !menu->objectName().contains(QLatin1String("Recent")))
            m_untranslated.append(name + QStringLiteral(": ") + action->text());
    }
}

/// Along the chain of the Tab key.
void TestWindows::lookAtFocus(QWidget *window, const QString &name)
{
    QSet<const QWidget *> reached;
    QHash<const QWidget *, const QWidget *> lastOf; // by parent
    for (QWidget *at = window->nextInFocusChain(); at != window; at = at->nextInFocusChain()) {
        if (!(at->focusPolicy() & Qt::TabFocus) || !at->isVisibleTo(window) || at->window() != window)
            continue;
        reached.insert(at);
        const QWidget *const parent = at->parentWidget();
        const QWidget *const before = lastOf.value(parent);
        const QRect there = at->geometry();
        const bool isOrderedByStyle = qobject_cast<const QDialogButtonBox *>(parent);
        if (before && isControl(at) && isControl(before) && !isOrderedByStyle) {
            const QRect here = before->geometry();
            const bool isAbove = there.bottom() < here.top() && there.left() <= here.right(); // not the next column
            const bool isLeft =
                there.right() < here.left() && there.top() < here.bottom() && here.top() < there.bottom();
            if (isAbove || isLeft)
                m_jumps.append(QStringLiteral("%1: from %2 to %3").arg(name, nameOf(before), nameOf(at)));
        }
        lastOf.insert(parent, at);
    }
    const QList<QWidget *> widgets = visibleIn(window);
    for (const QWidget *widget : widgets) {
        const auto *const button = qobject_cast<const QAbstractButton *>(widget);
        const auto *const radio = qobject_cast<const QRadioButton *>(widget);
        if (!isControl(widget) || !widget->isEnabled() || reached.contains(widget) || radio)
            continue;
        if (button && !button->shortcut().isEmpty())
            continue;
        m_unreached.append(name + QStringLiteral(": ") + nameOf(widget));
    }
}

void TestWindows::everyWindowIsSeen()
{
    // What is not among them is a box of the toolkit, or the quantities of an export, which are a list and buttons.
    QCOMPARE(m_seen.size(), 24);
}

/// What comes from below the windows, too.
void TestWindows::everyBoxIsTranslated()
{
    QStringList said;
    m_parts.prompts.during = [&] { said << m_parts.prompts.lastMore.informative << m_parts.prompts.lastMore.details; };
    const auto inFolder = [this](const QString &name, const QString &fileName, const QByteArray &bytes) {
        QFile file(folder(name) + QLatin1Char('/') + fileName);
        return QDir().mkpath(folder(name)) && file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size();
    };
    const auto recover = [this](const QString &name) {
        m_parts.prompts.paths = QStringList{folder(name)};
        m_window->recoverSession();
    };
    QVERIFY(inFolder(QStringLiteral("junk"), Session::fileName(), "junk"));
    QVERIFY(inFolder(QStringLiteral("empty"), QStringLiteral("a.txt"), "a"));
    QVERIFY(inFolder(QStringLiteral("damaged/S"), QStringLiteral("block_1.norvexdata"), QByteArray(500, '\0')));
    QVERIFY(inFolder(QStringLiteral("damaged/S"), QStringLiteral("Event_1.norvexevent"), "junk"));
    QVERIFY(inFolder(QStringLiteral("damaged/S"), QStringLiteral("index.dat"), "Block Data;7\nblock;;\nEvent;;\n"));
    const auto held = Session::create(folder(QStringLiteral("held")), nullptr);
    m_parts.prompts.takeShown();
    for (const char *name : {"none", "junk", "held"})
        QVERIFY(!m_window->openSession(folder(QLatin1String(name))));
    recover(QStringLiteral("empty"));
    recover(QStringLiteral("held"));
    recover(QStringLiteral("damaged"));
    m_parts.prompts.during = nullptr;
    said += m_parts.prompts.takeShown().replaceInStrings(QRegularExpression(QStringLiteral("^\\w+\\|")), QString());
    said.removeAll(QString());
    QVERIFY2(said.size() > 12, lines(said).constData());
    QStringList bare;
    for (const QString &text : qAsConst(said)) {
        for (const QString &line : PseudoTranslator::untranslated(text).split(QLatin1Char('\n'))) {
            if (!isMarked(line))
                bare.append(line);
        }
    }
    QVERIFY2(bare.isEmpty(), lines(bare).constData());
}

void TestWindows::everyPageOfTheHelpIsThere()
{
    QStringList missing;
    for (const helppages::Page &page : helppages::pages()) {
        QFile file(helppages::guideFolder() + QLatin1Char('/') + QLatin1String(page.chapter));
        const QString text = file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
        static const QString mark = QStringLiteral("\n## ");
        if (text.isEmpty() || (*page.heading && !text.contains(mark + QLatin1String(page.heading) + QLatin1Char('\n'))))
            missing.append(QLatin1String(page.widget));
    }
    QVERIFY2(missing.isEmpty(), lines(missing).constData());
}

void TestWindows::f1OpensThePage()
{
    const HelpKey key(m_parts.prompts, nullptr);
    const auto guideOf = [](QWidget *window) { return window->findChild<DocumentWindow *>(); };
    whileOpen(
        QStringLiteral("connect again"), [this] { m_window->form()->addSensor(); },
        [&](QDialog *dialog) {
            QTest::keyClick(dialog->findChild<QLineEdit *>(), Qt::Key_F1);
            DocumentWindow *const guide = guideOf(dialog);
            QVERIFY(guide && guide->isVisible());
            QCOMPARE(guide->currentFile(), QStringLiteral("03-connecting.md"));
            guide->showPage(QStringLiteral("12-troubleshooting.md"));
            QVERIFY(!guide->isInView(QStringLiteral("Rules of recipes")));
            guide->showPage(QStringLiteral("12-troubleshooting.md"), QStringLiteral("rules-of-recipes"));
            QVERIFY(guide->isInView(QStringLiteral("Rules of recipes")));
        });
    QMessageBox box(QMessageBox::Warning, QStringLiteral("Warning"), QStringLiteral("Sensor SN1 could not be removed"),
                    QMessageBox::Ok, m_window.get());
    QCOMPARE(helppages::placeOf(&box).heading, QStringLiteral("Sensor … could not be removed"));
    box.setText(QStringLiteral("What nobody wrote about"));
    QCOMPARE(helppages::placeOf(&box).heading, QStringLiteral("Message by message"));
    m_window->changeView(2);
    QCOMPARE(helppages::placeOf(m_window.get()).chapter, QStringLiteral("06-events.md"));
}

QTEST_MAIN(TestWindows)
#include "tst_windows.moc"
