#include "app/aboutdialog.h"

#include <QDialogButtonBox>
#include <QIcon>
#include <QLabel>
#include <QVBoxLayout>

AboutDialog::AboutDialog(QWidget *parent) : QDialog(parent)
{
    setObjectName(QStringLiteral("AboutDialog"));
    setWindowTitle(tr("About Norvex"));
    const int size = fontMetrics().height() * 4;

    auto *icon = new QLabel;
    icon->setPixmap(QIcon(QStringLiteral(":/images/Images/norvex.svg")).pixmap(size, size));
    auto *name = new QLabel(QStringLiteral("Norvex - RF Event Detector"));
    QFont large = font();
    large.setPointSizeF(large.pointSizeF() * 1.4);
    large.setBold(true);
    name->setFont(large);
    auto *version = new QLabel(versionText());
    version->setObjectName(QStringLiteral("lb_version"));
    version->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
    auto *text = new QLabel(tr("Records the RF power, runs and arcs of plasma chambers.\n"
                               "Built with Qt %1 and Qwt.")
                                .arg(QString::fromLatin1(qVersion())));

    auto *buttons = new QDialogButtonBox(QDialogButtonBox::Close);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);

    auto *words = new QVBoxLayout;
    words->addWidget(name);
    words->addWidget(version);
    words->addSpacing(size / 8);
    words->addWidget(text);
    auto *top = new QHBoxLayout;
    top->setSpacing(size / 4);
    top->addWidget(icon, 0, Qt::AlignTop);
    top->addLayout(words);
    auto *outer = new QVBoxLayout(this);
    outer->addLayout(top);
    outer->addWidget(buttons);
    outer->setSizeConstraint(QLayout::SetFixedSize);
}

QString AboutDialog::versionText()
{
    return tr("Version %1.%2.%3 (Build %4)")
        .arg(NORVEX_VERSION_MAJOR)
        .arg(NORVEX_VERSION_MINOR)
        .arg(NORVEX_VERSION_PATCH)
        .arg(NORVEX_BUILD_NUMBER);
}
