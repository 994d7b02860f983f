#pragma once

#include "events/eventtypenames.h"

#include <QDialog>

#include <memory>

class Prompts;
namespace Ui {
class eventTypeCreator;
}

/// Makes and deletes the user's event types. Each one goes into the dictionary at once, so displays show it while the
/// dialog is open; Cancel puts back what was there before. Below the fields stands what the new type will be. GUI
/// thread; the dictionary must outlive it.
class eventTypeCreator : public QDialog
{
    Q_OBJECT

public:
    eventTypeCreator(eventTypeNames &dictionary, Prompts &prompts, QWidget *parent = nullptr);
    ~eventTypeCreator() override;

public slots:
    void createNewEvent();
    void deleteEvent();
    void accept() override;
    void reject() override;

protected:
    void changeEvent(QEvent *event) override;

private:
    eventType typed() const;
    /// "#rrggbb", empty for none or for what is no colour.
    QString typedColour() const;
    void fillColourMenu();
    void showList();
    void showHint();
    void showSelection();
    void warnUnsaved(const QString &reason);

    std::unique_ptr<Ui::eventTypeCreator> ui;
    eventTypeNames &m_dictionary;
    Prompts &m_prompts;
    const QVector<eventTypeNames::UserType> m_before;
};
