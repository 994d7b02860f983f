#pragma once

#include <QString>
#include <QTextDocument>

/// A tool tip that shows a text as it is: names come from files and sensors, and the toolkit takes what looks like
/// markup for markup.
inline QString plainTip(const QString &text)
{
    return Qt::mightBeRichText(text) ? Qt::convertFromPlainText(text) : text;
}
