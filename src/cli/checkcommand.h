#pragma once

#include "session/sessioncheck.h"

#include <QJsonObject>
#include <QString>

/// What "norvex-cli check" prints.
QJsonObject toJson(const SessionCheck &check);
QString toText(const SessionCheck &check);
