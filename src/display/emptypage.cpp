#include "display/emptypage.h"

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

void EmptyPage::show(const QString &text, const QString &button)
{
    m_text->setText(text);
    m_button->setText(button);
    m_button->setVisible(!button.isEmpty());
}
