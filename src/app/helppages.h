#pragma once

#include <QObject>
#include <QString>

#include <vector>

class Prompts;
class QWidget;

/// Which page of the guide belongs to which window.
namespace helppages {

struct Page
{
    const char *widget;  // object or class name
    const char *chapter; // file in the guide's folder
    const char *heading; // empty: the chapter's beginning
    bool isView = false; // one of the main window's displays
};
const std::vector<Page> &pages();

/// Where to read on.
struct Place
{
    QString chapter;
    QString heading;
};
/// The page for a widget: its own or that of the first around it that has one; what says a box is looked up among the
/// messages that the guide explains.
Place placeOf(const QWidget *widget);

/// The folder of the guide's sources in the program.
QString guideFolder();
/// Opens the guide at the page for a widget.
void showFor(QWidget *widget, Prompts &prompts);
void showLicences(QWidget *parent, Prompts &prompts);

} // namespace helppages

/// Makes F1 open the guide in every window of the program. GUI thread.
class HelpKey : public QObject
{
    Q_OBJECT

public:
    HelpKey(Prompts &prompts, QObject *parent);

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    Prompts &m_prompts;
};
