#include "app/helppages.h"

#include "app/documentwindow.h"

#include <QApplication>
#include <QFile>
#include <QKeyEvent>
#include <QMessageBox>
#include <QRegularExpression>
#include <QWidget>

#include <algorithm>

/// Resources of a static library wait to be asked for; the macro must stand outside of namespaces.
static void loadDocuments()
{
    Q_INIT_RESOURCE(documents);
}

namespace {

const helppages::Page *pageOf(const QWidget *widget)
{
    const auto &all = helppages::pages();
    const auto found = std::find_if(all.begin(), all.end(), [&](const helppages::Page &page) {
        return widget->objectName() == QLatin1String(page.widget) ||
               qstrcmp(widget->metaObject()->className(), page.widget) == 0;
    });
    return found == all.end() ? nullptr : &*found;
}

/// The display that the main window shows.
const helppages::Page *viewIn(const QWidget *window)
{
    const QList<QWidget *> inside = window->findChildren<QWidget *>();
    for (const QWidget *widget : inside) {
        const helppages::Page *const page = widget->isVisible() ? pageOf(widget) : nullptr;
        if (page && page->isView)
            return page;
    }
    return nullptr;
}

QString plain(const QString &text)
{
    return text.simplified();
}

/// The heading under which the guide explains a box: all its pieces stand in the box's text, the longest such one.
QString headingOfMessage(const QString &message)
{
    QFile file(helppages::guideFolder() + QStringLiteral("/12-troubleshooting.md"));
    if (!file.open(QIODevice::ReadOnly))
        return {};
    const QString said = plain(message);
    QString best;
    const QStringList lines = QString::fromUtf8(file.readAll()).split(QLatin1Char('\n'));
    for (const QString &line : lines) {
        if (!line.startsWith(QLatin1String("### ")))
            continue;
        const QString heading = line.mid(4).trimmed();
        const QStringList pieces = heading.split(QChar(0x2026), Qt::SkipEmptyParts);
        const bool all = std::all_of(pieces.begin(), pieces.end(),
                                     [&](const QString &piece) { return said.contains(plain(piece)); });
        if (all && heading.size() > best.size())
            best = heading;
    }
    return best;
}

} // namespace

const std::vector<helppages::Page> &helppages::pages()
{
    static const std::vector<Page> all{
        {"arcPlotDisplay", "04-live-view.md", "", true},
        {"RunsView", "05-runs-and-recipes.md", "Runs", true},
        {"summaryView", "05-runs-and-recipes.md", "Summary", true},
        {"EventsView", "06-events.md", "", true},
        {"arcGlobalView", "06-events.md", "Bar chart", true},
        {"runsOverlayView", "07-overlays.md", "", true},
        {"eventsOverlayView", "07-overlays.md", "", true},
        {"EmptyPage", "02-window.md", "Empty displays", true},
        {"dataObjectWidget", "02-window.md", "A sensor's card"},
        {"EventFilterBox", "06-events.md", "The filter"},
        {"MainWindow", "02-window.md", ""},
        {"SensorDialog", "03-connecting.md", ""},
        {"TimeRangeDialog", "04-live-view.md", "Moving about"},
        {"ValueRangeDialog", "04-live-view.md", "Moving about"},
        {"RecipeForm", "05-runs-and-recipes.md", "Recipes"},
        {"eventTypeCreator", "06-events.md", "Types of your own"},
        {"reconfigureSensordialog", "08-configuration.md", "Configuring a sensor"},
        {"ReanalysisResultDialog", "08-configuration.md", "Reanalysis"},
        {"exportChoice", "09-export.md", ""},
        {"exportDialog", "09-export.md", "From the window"},
        {"quantityDialog", "09-export.md", "From the window"},
        {"ImportDialog", "10-sessions.md", ""},
        {"ImportTableDialog", "10-sessions.md", ""},
        {"jobDialog", "10-sessions.md", ""},
        {"ShortcutsDialog", "13-shortcuts.md", ""},
        {"AboutDialog", "01-first-minutes.md", ""},
        {"DocumentWindow", "01-first-minutes.md", ""},
        {"QMessageBox", "12-troubleshooting.md", "Message by message"},
    };
    return all;
}

helppages::Place helppages::placeOf(const QWidget *widget)
{
    const Page *page = nullptr;
    for (const QWidget *at = widget; at && !page; at = at->parentWidget()) {
        page = pageOf(at);
        const auto *const box = qobject_cast<const QMessageBox *>(at);
        const QString heading = box ? headingOfMessage(box->windowTitle() + QLatin1Char(' ') + box->text()) : QString();
        if (!heading.isEmpty())
            return {QLatin1String(page->chapter), heading};
        if (page && qstrcmp(page->widget, "MainWindow") == 0) {
            const Page *const view = viewIn(at);
            page = view ? view : page;
        }
    }
    return page ? Place{QLatin1String(page->chapter), QLatin1String(page->heading)} : Place{};
}

QString helppages::guideFolder()
{
    loadDocuments();
    return QStringLiteral(":/docs/guide");
}

void helppages::showFor(QWidget *widget, Prompts &prompts)
{
    const Place place = placeOf(widget);
    DocumentWindow *const window = DocumentWindow::open(widget->window(), guideFolder(),
                                                        QCoreApplication::translate("helppages", "User Guide"), prompts);
    if (!place.chapter.isEmpty())
        window->showPage(place.chapter, place.heading);
}

void helppages::showLicences(QWidget *parent, Prompts &prompts)
{
    loadDocuments();
    DocumentWindow::open(parent, QStringLiteral(":/docs/licences"),
                         QCoreApplication::translate("helppages", "Licences"), prompts);
}

HelpKey::HelpKey(Prompts &prompts, QObject *parent) : QObject(parent), m_prompts(prompts)
{
    qApp->installEventFilter(this);
}

bool HelpKey::eventFilter(QObject *watched, QEvent *event)
{
    if (event->type() != QEvent::KeyPress)
        return false;
    const auto *const key = static_cast<QKeyEvent *>(event);
    auto *const widget = qobject_cast<QWidget *>(watched);
    if (!widget || key->key() != Qt::Key_F1 || (key->modifiers() & ~Qt::KeypadModifier) != Qt::NoModifier)
        return false;
    if (!qobject_cast<DocumentWindow *>(widget->window())) // it is what F1 opens
        helppages::showFor(widget, m_prompts);
    return true;
}
