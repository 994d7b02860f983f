#pragma once

#include <QCoreApplication>

/// The texts for people that come from below the windows, from any thread: reasons, findings and problems that end in a
/// box, a card, the status bar or a report. Without a translator they come back as they are written. What is written to
/// the log, to files or to a sensor is never one of them.
struct CoreText
{
    Q_DECLARE_TR_FUNCTIONS(CoreText)
};
