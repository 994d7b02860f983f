#pragma once

#include "session/sessioncheck.h"
#include "session/sessionrepair.h"

#include <QJsonObject>
#include <QString>

/// What "norvex-cli check" prints.
QJsonObject toJson(const SessionCheck &check);
QString toText(const SessionCheck &check);

/// What "norvex-cli check --repair" and "norvex-cli recover" print.
QJsonObject toJson(const SessionRepair &repair);
QString toText(const SessionRepair &repair);
