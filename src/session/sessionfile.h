#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>
#include <QVector>

/// The session file "index.norvex_session": UTF-8 lines ended by LF (CR LF is read too).
///
///     Norvex session file ;V1.0.0
///     Sensor Data;<number of sensors>
///     sensor;<folder>;<serial>;<chamber>;<address>;<port>;<#rrggbb>;<time base us>;<uptime ms>
///     End Sensors;
///
/// One "sensor;" line a sensor. The fields after the chamber may be missing or empty: an empty address is a sensor
/// without a connection, an empty time base one whose clock was never placed. Lines of other keywords and fields past
/// the ninth are ignored.

/// One "sensor;" line.
struct SessionFileSensor
{
    QString folder; // a plain name inside the session folder
    QString serial;
    QString chamber;
    QString address;
    quint16 port = 80;
    QString colour; // "#rrggbb" or empty
    bool timeLineKnown = false;
    qint64 baseUs = 0;
    qint64 uptimeMs = 0;
};

/// What a session file says.
struct SessionFileContent
{
    QVector<SessionFileSensor> sensors;
    QStringList problems; // what was left out or corrected while reading, in words
};

namespace sessionfile {

/// Names that enter the file have ";" and line ends replaced by "_".
QByteArray write(const QVector<SessionFileSensor> &sensors);

/// False and a reason when the bytes are no session file at all. Everything else is read as far as it makes sense: a
/// line whose folder leaves the session folder, or repeats another's folder or serial, is left out and reported.
bool read(const QByteArray &bytes, SessionFileContent &content, QString *reason);

/// True for a folder name that a line can carry as it is.
bool canName(const QString &folder);

/// The largest session file that is read.
constexpr qint64 maximumSize = 4 * 1024 * 1024;

} // namespace sessionfile
