#include "display/look/emptypage.h"

#include "display/look/theme.h"

#include <QEvent>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

EmptyPage::EmptyPage(QWidget *parent) : QWidget(parent), m_text(new QLabel), m_button(new QPushButton)
{
    m_text->setObjectName(QStringLiteral("emptyText"));
    m_text->setAlignment(Qt::AlignCenter);
    m_text->setTextFormat(Qt::PlainText);
    m_text->setWordWrap(true);
    m_button->setObjectName(QStringLiteral("emptyButton"));
    auto *layout = new QVBoxLayout(this);
    layout->addStretch();
    layout->addWidget(m_text);
    layout->addSpacing(12);
    layout->addWidget(m_button, 0, Qt::AlignCenter);
    layout->addStretch();
    connect(m_button, &QPushButton::clicked, this, &EmptyPage::pressed);
}

EmptyPage::EmptyPage(QWidget *covered, const Theme &theme) : EmptyPage(covered)
{
    m_theme = &theme;
    setAutoFillBackground(true);
    covered->installEventFilter(this);
    connect(m_theme, &Theme::changed, this, &EmptyPage::adoptTheme);
    adoptTheme();
    hide();
}

void EmptyPage::adoptTheme()
{
    QPalette colours = m_theme->palette();
    colours.setColor(QPalette::Window, m_theme->canvas());
    colours.setColor(QPalette::WindowText, m_theme->mutedText());
    setPalette(colours);
}

void EmptyPage::show(const QString &text, const QString &button)
{
    m_text->setText(text);
    m_button->setText(button);
    m_button->setVisible(!button.isEmpty());
    if (!m_theme)
        return;
    const bool passesFocus = text.isEmpty() && m_button->hasFocus();
    setVisible(!text.isEmpty());
    for (QWidget *at = parentWidget(); passesFocus && at; at = at->parentWidget()) {
        if (!(at->focusPolicy() & Qt::ClickFocus))
            continue;
        at->setFocus(); // else the toolkit gives it to anything
        break;
    }
    setGeometry(parentWidget()->rect());
    raise();
}

bool EmptyPage::eventFilter(QObject *watched, QEvent *event)
{
    if (watched == parent() && event->type() == QEvent::Resize)
        setGeometry(parentWidget()->rect());
    return QWidget::eventFilter(watched, event);
}
