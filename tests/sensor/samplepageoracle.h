#pragma once

#include "sensor/samplepage.h"

#include <QByteArray>

/// Reads a sample page the plain way, line by line with string splitting, as a slow second opinion on the parser.
SamplePage readSamplePageSlowly(const QByteArray &reply, qint64 timeBaseUs);
