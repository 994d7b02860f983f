#include "session/sensoraddress.h"

#include "base/coretext.h"

#include <algorithm>

namespace {

constexpr int maximumHostLength = 253;

bool isHostCharacter(QChar c)
{
    const char16_t u = c.unicode();
    return (u >= u'a' && u <= u'z') || (u >= u'A' && u <= u'Z') || (u >= u'0' && u <= u'9') || u == u'.' || u == u'-' ||
           u == u'_';
}

bool isHost(const QString &text)
{
    return !text.isEmpty() && text.size() <= maximumHostLength &&
           std::all_of(text.begin(), text.end(), isHostCharacter);
}

} // namespace

bool parseSensorAddress(const QString &text, SensorAddress &address, QString *reason)
{
    const auto refuse = [&](const QString &why) {
        if (reason)
            *reason = CoreText::tr("'%1' is not HOST[:PORT][,CHAMBER]: %2").arg(text, why);
        return false;
    };
    SensorAddress result;
    const int comma = text.indexOf(QLatin1Char(','));
    const QString place = (comma < 0 ? text : text.left(comma)).trimmed();
    if (comma >= 0) {
        result.chamber = text.mid(comma + 1).trimmed();
        if (result.chamber.isEmpty())
            return refuse(CoreText::tr("the chamber is empty"));
    }
    const int colon = place.indexOf(QLatin1Char(':'));
    result.host = colon < 0 ? place : place.left(colon);
    if (!isHost(result.host))
        return refuse(CoreText::tr("the host must be a name or an IPv4 address"));
    if (colon >= 0) {
        const QString digits = place.mid(colon + 1);
        bool ok = false;
        const uint port = digits.toUInt(&ok);
        if (!ok || port < 1 || port > 65535 || !digits.at(0).isDigit())
            return refuse(CoreText::tr("the port must be 1 to 65535"));
        result.port = quint16(port);
    }
    address = result;
    return true;
}
