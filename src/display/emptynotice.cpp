#include "display/emptynotice.h"

#include "display/theme.h"

#include <QEvent>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

EmptyNotice::EmptyNotice(QWidget *over) : QWidget(over), m_label(new QLabel), m_button(new QPushButton)
{
    setAutoFillBackground(true);
    m_label->setAlignment(Qt::AlignCenter);
    m_label->setWordWrap(true);
    m_label->setTextFormat(Qt::PlainText);
    auto *layout = new QVBoxLayout(this);
    layout->addStretch();
    layout->addWidget(m_label);
    layout->addWidget(m_button, 0, Qt::AlignHCenter);
    layout->addStretch();
    connect(m_button, &QPushButton::clicked, this, &EmptyNotice::buttonClicked);
    over->installEventFilter(this);
    hide();
}

void EmptyNotice::show(const QString &text, const QString &button, const Theme &theme)
{
    setVisible(!text.isEmpty());
    m_label->setText(text);
    if (text.isEmpty())
        return;
    m_button->setText(button);
    m_button->setVisible(!button.isEmpty());
    QPalette colours = theme.palette();
    colours.setColor(QPalette::Window, theme.canvas());
    colours.setColor(QPalette::WindowText, theme.mutedText());
    setPalette(colours);
    setGeometry(parentWidget()->rect());
    raise();
}

QString EmptyNotice::text() const
{
    return m_label->text();
}

bool EmptyNotice::eventFilter(QObject *watched, QEvent *event)
{
    if (watched == parent() && event->type() == QEvent::Resize)
        setGeometry(parentWidget()->rect());
    return QWidget::eventFilter(watched, event);
}
