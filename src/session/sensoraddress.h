#pragma once

#include <QString>

/// Where a sensor is and what it is attached to, as the user types it: HOST[:PORT][,CHAMBER].
struct SensorAddress
{
    QString host;
    quint16 port = 80;
    QString chamber; // empty when not given
};

/// False and a reason for a text that is no sensor address. A host is a name or an IPv4 address; the chamber is taken
/// as it stands.
bool parseSensorAddress(const QString &text, SensorAddress &address, QString *reason);
