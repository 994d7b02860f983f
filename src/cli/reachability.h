#pragma once

#include <QString>

/// Whether anything takes a TCP connection at an address; waits a second at most. Tells a device that is no sensor from
/// one that is not there, after a sensor connection has failed.
bool somethingListens(const QString &host, quint16 port);
