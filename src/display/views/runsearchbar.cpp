#include "display/views/runsearchbar.h"

#include "display/records/runsearcher.h"

#include <QDoubleSpinBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QProgressBar>
#include <QPushButton>
#include <QVBoxLayout>

RunSearchBar::RunSearchBar(RunSearcher &searcher, QWidget *parent)
    : QWidget(parent), m_searcher(searcher), m_threshold(new QDoubleSpinBox),
      m_search(new QPushButton(tr("Search Again"))), m_cancel(new QPushButton(tr("Cancel"))),
      m_drop(new QPushButton(tr("Stored Runs"))), m_bar(new QProgressBar), m_text(new QLabel)
{
    m_threshold->setRange(-100000, 100000);
    m_threshold->setDecimals(1);
    m_threshold->setSuffix(QStringLiteral(" V"));
    m_threshold->setAccessibleName(tr("RF-ON threshold"));
    m_threshold->setObjectName(QStringLiteral("rfonThreshold"));
    m_threshold->setValue(m_searcher.threshold());
    m_search->setObjectName(QStringLiteral("b_searchRuns"));
    m_search->setToolTip(tr("Find the stretches whose voltage is at or above this threshold.\n"
                            "The stored runs stay as they are."));
    m_cancel->setObjectName(QStringLiteral("b_cancelSearch"));
    m_drop->setObjectName(QStringLiteral("b_storedRuns"));
    m_text->setWordWrap(true);
    auto *outer = new QVBoxLayout(this);
    outer->setContentsMargins(0, 0, 0, 0);
    outer->addWidget(m_text);
    auto *row = new QHBoxLayout;
    row->addWidget(new QLabel(tr("RF-ON threshold")));
    row->addWidget(m_threshold);
    row->addWidget(m_search);
    row->addWidget(m_bar, 1);
    row->addWidget(m_cancel);
    row->addWidget(m_drop);
    row->addStretch();
    outer->addLayout(row);
    connect(m_search, &QPushButton::clicked, this, [this] { m_searcher.start(m_threshold->value()); });
    connect(m_cancel, &QPushButton::clicked, &m_searcher, &RunSearcher::cancel);
    connect(m_drop, &QPushButton::clicked, &m_searcher, &RunSearcher::drop);
    connect(&m_searcher, &RunSearcher::stateChanged, this, &RunSearchBar::showState);
    showState();
}

void RunSearchBar::showState()
{
    const bool running = m_searcher.isRunning();
    m_text->setText(m_searcher.text());
    m_text->setVisible(!m_searcher.text().isEmpty());
    if (running)
        m_threshold->setValue(m_searcher.threshold()); // it may have been started elsewhere
    m_threshold->setEnabled(!running);
    m_search->setVisible(!running);
    m_bar->setVisible(running);
    m_bar->setMaximum(m_searcher.total());
    m_bar->setValue(m_searcher.done());
    m_cancel->setVisible(running);
    m_drop->setVisible(!running && m_searcher.hasFound());
}
