#include "display/views/recordtable.h"

#include "display/look/emptypage.h"
#include "display/look/keptlayout.h"

#include <QApplication>
#include <QClipboard>
#include <QHeaderView>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QScrollBar>
#include <QStackedLayout>
#include <QToolButton>
#include <QVBoxLayout>

#include <algorithm>

namespace {

constexpr int searchDelayMs = 150;
constexpr int mostRestored = 2000; // chosen rows that are found again after a reset

} // namespace

RecordTable::RecordTable(QWidget *parent) : QTableView(parent)
{
    setSelectionBehavior(QAbstractItemView::SelectRows);
    setSelectionMode(QAbstractItemView::ExtendedSelection);
    setSortingEnabled(true);
    setAlternatingRowColors(true);
    setWordWrap(false);
    setShowGrid(false);
    setTabKeyNavigation(false);
    setHorizontalScrollMode(QAbstractItemView::ScrollPerPixel);
    verticalHeader()->hide();
    verticalHeader()->setSectionResizeMode(QHeaderView::Fixed);
    verticalHeader()->setDefaultSectionSize(fontMetrics().height() + 6);
    horizontalHeader()->setHighlightSections(false);
    horizontalHeader()->setSectionsMovable(true);
}

void RecordTable::setRecords(RecordModel *model)
{
    m_records = model;
    setModel(model);
    connect(model, &QAbstractItemModel::modelAboutToBeReset, this, &RecordTable::remember);
    connect(model, &QAbstractItemModel::modelReset, this, &RecordTable::restore);
    connect(model, &QAbstractItemModel::headerDataChanged, this, &RecordTable::fitColumns); // others came
    horizontalHeader()->setSortIndicator(model->sortColumn(), model->sortOrder());
    fitColumns();
}

void RecordTable::keepColumns(AppSettings &settings, const QString &key)
{
    m_kept = new KeptColumns(this, settings, key);
    m_kept->apply();
}

void RecordTable::fitColumns()
{
    const int character = fontMetrics().horizontalAdvance(QLatin1Char('0'));
    for (int column = 0; column < m_records->columnCount(); ++column) {
        const int characters = m_records->headerData(column, Qt::Horizontal, Qt::UserRole).toInt() + 2;
        setColumnWidth(column, std::max(characters * character, horizontalHeader()->sectionSizeHint(column)));
    }
    if (m_kept)
        m_kept->apply();
}

void RecordTable::remember()
{
    m_chosen.clear();
    m_current = m_records->key(currentIndex().row());
    m_scroll = verticalScrollBar()->value();
    const QModelIndexList rows = selectionModel()->selectedRows();
    if (rows.size() <= mostRestored)
        for (const QModelIndex &row : rows)
            m_chosen.append(m_records->key(row.row()));
    m_restoring = true;
}

void RecordTable::restore()
{
    QItemSelection selection;
    for (const RecordKey &key : qAsConst(m_chosen)) {
        const int row = m_records->rowOf(key);
        if (row >= 0)
            selection.select(m_records->index(row, 0), m_records->index(row, m_records->columnCount() - 1));
    }
    selectionModel()->select(selection, QItemSelectionModel::ClearAndSelect);
    const int current = m_current.time ? m_records->rowOf(m_current) : -1;
    if (current >= 0)
        selectionModel()->setCurrentIndex(m_records->index(current, 0), QItemSelectionModel::NoUpdate);
    verticalScrollBar()->setValue(m_scroll);
    m_restoring = false;
    if (current < 0 || m_chosen.isEmpty())
        emit currentKeyChanged();
}

void RecordTable::choose(const RecordKey &key)
{
    if (m_records->key(currentIndex().row()) == key)
        return;
    const int row = m_records->rowOf(key);
    if (row < 0)
        return;
    setCurrentIndex(m_records->index(row, 0));
    scrollTo(currentIndex(), QAbstractItemView::PositionAtCenter);
}

void RecordTable::step(int by)
{
    if (m_records->rowCount() == 0)
        return;
    const int row = currentIndex().isValid() ? currentIndex().row() + by : 0;
    setCurrentIndex(m_records->index(std::clamp(row, 0, m_records->rowCount() - 1), 0));
}

void RecordTable::copy() const
{
    QVector<int> rows;
    const QModelIndexList chosen = selectionModel()->selectedRows();
    for (const QModelIndex &row : chosen)
        rows.append(row.row());
    if (rows.isEmpty())
        return;
    std::sort(rows.begin(), rows.end());
    QApplication::setOverrideCursor(Qt::WaitCursor);
    QApplication::clipboard()->setText(m_records->text(rows));
    QApplication::restoreOverrideCursor();
}

void RecordTable::currentChanged(const QModelIndex &current, const QModelIndex &previous)
{
    QTableView::currentChanged(current, previous);
    if (!m_restoring)
        emit currentKeyChanged();
}

bool RecordTable::event(QEvent *event)
{
    if (event->type() == QEvent::ShortcutOverride && static_cast<QKeyEvent *>(event)->matches(QKeySequence::Copy)) {
        event->accept();
        return true;
    }
    return QTableView::event(event);
}

void RecordTable::keyPressEvent(QKeyEvent *event)
{
    if (event->matches(QKeySequence::Copy))
        copy();
    else if (event->modifiers() == Qt::NoModifier && (event->key() == Qt::Key_N || event->key() == Qt::Key_P))
        step(event->key() == Qt::Key_N ? 1 : -1);
    else
        QTableView::keyPressEvent(event);
}

RecordPanel::RecordPanel(RecordModel *model, const QString &what, QWidget *parent)
    : QWidget(parent), m_model(model), m_what(what), m_search(new QLineEdit), m_periodButton(new QToolButton),
      m_table(new RecordTable), m_empty(new EmptyPage), m_stack(new QStackedLayout), m_count(new QLabel)
{
    m_search->setPlaceholderText(tr("Search %1").arg(what));
    m_search->setAccessibleName(m_search->placeholderText());
    m_search->setClearButtonEnabled(true);
    m_periodButton->setObjectName(QStringLiteral("periodButton"));
    m_periodButton->setToolTip(tr("Only this period is listed. Click to list every period again."));
    m_periodButton->hide();
    m_table->setRecords(model);
    m_table->setAccessibleName(what);
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(m_search);
    layout->addWidget(m_periodButton);
    layout->addLayout(m_stack, 1);
    layout->addWidget(m_count);
    m_stack->addWidget(m_table);
    m_stack->addWidget(m_empty);

    m_searchTimer.setSingleShot(true);
    m_searchTimer.setInterval(searchDelayMs);
    connect(m_search, &QLineEdit::textChanged, &m_searchTimer, QOverload<>::of(&QTimer::start));
    connect(&m_searchTimer, &QTimer::timeout, this, [this] {
        m_model->setSearch(m_search->text());
        showState();
    });
    connect(m_periodButton, &QToolButton::clicked, this, &RecordPanel::periodDropped);
    connect(m_empty, &EmptyPage::pressed, this, [this] {
        if (m_reason.isEmpty())
            showAll();
        else
            emit reasonPressed();
    });
}

void RecordPanel::addFooter(QWidget *widget)
{
    layout()->addWidget(widget);
}

void RecordPanel::showAll()
{
    m_search->clear();
    m_searchTimer.stop();
    m_model->setSearch(QString());
    emit allWanted();
    emit periodDropped();
}

void RecordPanel::setPeriod(const TimeRange &period)
{
    m_model->setPeriod(period);
    showState();
}

void RecordPanel::setReason(const QString &text, const QString &button)
{
    m_reason = text;
    m_reasonButton = button;
    showState();
}

void RecordPanel::showState()
{
    const int shown = m_model->rowCount();
    m_count->setText(shown == m_model->total() ? tr("%1 %2").arg(shown).arg(m_what)
                                               : tr("%1 of %2 %3").arg(shown).arg(m_model->total()).arg(m_what));
    const TimeRange period = m_model->period();
    m_periodButton->setVisible(!period.isEmpty());
    if (!period.isEmpty())
        m_periodButton->setText(
            tr("%1, %2  ✕").arg(m_model->timeAxis().moment(period.from).left(19), durationText(period.length())));
    if (shown > 0) {
        m_stack->setCurrentWidget(m_table);
        return;
    }
    if (m_reason.isEmpty())
        m_empty->show(tr("None of %1 %2 is shown.\nThe search, the period or the event filter hides them.")
                          .arg(m_model->total())
                          .arg(m_what),
                      tr("Show All"));
    else
        m_empty->show(m_reason, m_reasonButton);
    m_stack->setCurrentWidget(m_empty);
}
