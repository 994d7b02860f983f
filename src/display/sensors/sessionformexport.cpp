#include "base/nestedloop.h"
#include "data/norvexdata.h"
#include "display/look/theme.h"
#include "display/plot/arcplotdisplay.h"
#include "display/sensors/dataobjectwidget.h"
#include "display/sensors/sessionform.h"
#include "display/views/sessionviews.h"
#include "events/eventfilter.h"
#include "export/exportevents.h"
#include "export/exportflow.h"
#include "export/imageexport.h"
#include "session/appsettings.h"
#include "session/session.h"

#include <QApplication>
#include <QDialog>
#include <QDir>
#include <QFileInfo>
#include <QLabel>
#include <QPointer>
#include <QPushButton>
#include <QVBoxLayout>

// Exporting from the window: the kinds, what is exported of whom, and pictures.

void SessionForm::exportDisplayed()
{
    onDisplayedCard(&dataObjectWidget::exportData);
}

void SessionForm::exportData()
{
    if (warnWithoutDisplay())
        return;
    QDialog dialog(this);
    dialog.setObjectName(QStringLiteral("exportChoice"));
    dialog.setWindowTitle(tr("Export"));
    dialog.setWindowIcon(QApplication::windowIcon());
    auto *csv = new QPushButton(tr("Export to CSV"));
    auto *image = new QPushButton(tr("Export to Image"));
    auto *tables = new QPushButton(tr("Export for Other Programs"));
    csv->setObjectName(QStringLiteral("b_exportCsv"));
    image->setObjectName(QStringLiteral("b_exportImage"));
    tables->setObjectName(QStringLiteral("b_exportTables"));
    tables->setToolTip(tr("Tables for data frames, an SQLite database, or line protocol"));
    auto *layout = new QVBoxLayout(&dialog);
    layout->addWidget(new QLabel(tr("Please, select the data export format")));
    layout->addWidget(csv);
    layout->addWidget(image);
    layout->addWidget(tables);
    const QPointer<dataObjectWidget> card = displayedSensor();
    bool asImage = false;
    ExportKind kind = ExportKind::FixedFiles;
    connect(csv, &QPushButton::clicked, &dialog, &QDialog::accept);
    connect(image, &QPushButton::clicked, &dialog, [&] {
        asImage = true;
        dialog.accept();
    });
    connect(tables, &QPushButton::clicked, &dialog, [&] {
        kind = ExportKind::OtherPrograms;
        dialog.accept();
    });
    if (execNested(dialog) != QDialog::Accepted)
        return;
    if (asImage)
        exportImage();
    else if (card)
        exportStore(card, kind);
}

void SessionForm::exportStore(dataObjectWidget *card, ExportKind kind)
{
    AppSettings *const settings = &m_context.settings;
    exportDialog::Setup setup;
    setup.kind = kind;
    for (const dataObjectWidget *other : qAsConst(m_cards)) {
        if (other != card && other->store()->lastTime() > 0)
            setup.others.append(other->store());
    }
    setup.filter.eventTypes = m_context.filter.enabledNames();
    const QStringList names = m_context.filter.names();
    for (const QString &name : names) {
        if (!m_context.filter.isEnabled(name))
            setup.filter.disabledTypes.append(name);
    }
    setup.filter.userTypes = m_context.filter.enabledUserTypes();
    setup.curveColour = m_context.theme.themed(keptColour(card->serial()));
    setup.setting = [settings](const QString &key, const QVariant &fallback) { return settings->value(key, fallback); };
    setup.keepSetting = [settings](const QString &key, const QVariant &value) { settings->setValue(key, value); };
    const ExportRange recorded = wholeRecording(*card->store());
    const auto within = [&](const TimeRange &range) -> std::optional<exportDialog::Range> {
        const exportDialog::Range cut{qMax(range.from, recorded.from), qMin(range.to, recorded.to)};
        return cut.from < cut.to ? std::make_optional(cut) : std::nullopt;
    };
    setup.visible = within(m_plot->visibleRange());
    if (const auto cursors = m_plot->cursorRange())
        setup.betweenCursors = within(*cursors);
    const QString who = card->shownName();
    ExportFlow flow(card->store(), m_context.session.path(), m_context.prompts);
    if (flow.run(this, setup)) {
        const QFileInfo file(flow.file());
        emit notice(tr("The data of %1 were exported: %2/%3").arg(who, file.dir().dirName(), file.fileName()));
    }
}

void SessionForm::exportImage()
{
    const QString folder = m_context.session.path() + QStringLiteral("/Exports");
    if (imageexport::saveImage(this, m_context.prompts, folder,
                               [this] { return m_views->currentImage(devicePixelRatioF(), Theme::Kind::Light); }))
        emit notice(tr("The picture was saved."));
}
