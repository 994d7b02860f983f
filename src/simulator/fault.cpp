#include "simulator/fault.h"

#include "simulator/bodyfaults.h"
#include "simulator/wirefaults.h"

namespace {

using Layer = FaultType::Layer;
using Takes = FaultType::Takes;

const FaultType statusType{
    "NNN", Layer::Instead, Takes::Number, {}, "a status code, 300 to 599 or 204", wirefaults::status, nullptr};

const FaultType types[] = {
    // clang-format off
    {"hang", Layer::Instead, Takes::Nothing, {}, "no answer, the connection stays", wirefaults::hang, nullptr},
    {"reset", Layer::Instead, Takes::Nothing, {}, "the connection is reset", wirefaults::reset, nullptr},
    {"close", Layer::Instead, Takes::Nothing, {}, "the connection is closed", wirefaults::close, nullptr},
    {"garbage", Layer::Instead, Takes::Nothing, {}, "bytes that are no HTTP", wirefaults::garbage, nullptr},
    {"empty", Layer::Instead, Takes::Nothing, {}, "status 200 and nothing", wirefaults::empty, nullptr},
    {"endless-line", Layer::Instead, Takes::Nothing, {}, "a first line without end", wirefaults::endlessLine, nullptr},
    {"endless-header", Layer::Instead, Takes::Nothing, {}, "a header without end", wirefaults::endlessHeader, nullptr},
    statusType,

    {"delay", Layer::Wire, Takes::Number, {1500, {}}, "MS the answer comes late", wirefaults::delay, nullptr},
    {"hang-after", Layer::Wire, Takes::Nothing, {}, "carried out, but no answer", wirefaults::hang, nullptr},
    {"reset-after", Layer::Wire, Takes::Nothing, {}, "carried out, then the connection is reset", wirefaults::reset, nullptr},
    {"close-after", Layer::Wire, Takes::Nothing, {}, "carried out, then the connection is closed", wirefaults::close, nullptr},
    {"reset-body", Layer::Wire, Takes::Number, {-1, {}}, "BYTES of the body, then a reset (half of it)", wirefaults::resetInBody, nullptr},
    {"close-body", Layer::Wire, Takes::Number, {-1, {}}, "BYTES of the body, then closed", wirefaults::closeInBody, nullptr},
    {"cut", Layer::Wire, Takes::Number, {-1, {}}, "BYTES of the body without a length, then closed", wirefaults::cut, nullptr},
    {"no-length", Layer::Wire, Takes::Nothing, {}, "the whole body without a length", wirefaults::noLength, nullptr},
    {"chunked", Layer::Wire, Takes::Nothing, {}, "the whole body in chunks", wirefaults::chunked, nullptr},
    {"bad-chunks", Layer::Wire, Takes::Nothing, {}, "a chunk size that is no number", wirefaults::badChunks, nullptr},
    {"missing-chunks", Layer::Wire, Takes::Nothing, {}, "the last chunks never come", wirefaults::missingChunks, nullptr},
    {"negative-length", Layer::Wire, Takes::Nothing, {}, "Content-Length -1", wirefaults::negativeLength, nullptr},
    {"double-length", Layer::Wire, Takes::Nothing, {}, "two different Content-Lengths", wirefaults::doubleLength, nullptr},
    {"short-length", Layer::Wire, Takes::Nothing, {}, "a Content-Length shorter than the body", wirefaults::shortLength, nullptr},
    {"huge-length", Layer::Wire, Takes::Nothing, {}, "10^14 bytes announced", wirefaults::hugeLength, nullptr},
    {"lf-only", Layer::Wire, Takes::Nothing, {}, "header lines end in LF alone", wirefaults::lfOnly, nullptr},
    {"endless-body", Layer::Wire, Takes::Nothing, {}, "a body without end", wirefaults::endlessBody, nullptr},
    {"drip-header", Layer::Wire, Takes::Number, {100, {}}, "MS between the bytes of the reply", wirefaults::dripHeader, nullptr},
    {"drip-body", Layer::Wire, Takes::Number, {100, {}}, "MS between the bytes of the body", wirefaults::dripBody, nullptr},
    {"gzip", Layer::Wire, Takes::Nothing, {}, "compressed, though nobody asked", wirefaults::gzip, nullptr},

    {"garble", Layer::Body, Takes::Nothing, {}, "some bytes of the page are changed", nullptr, bodyfaults::garbled},
    {"nan", Layer::Body, Takes::Nothing, {0, "NaN"}, "a value is NaN", nullptr, bodyfaults::numberReplaced},
    {"inf", Layer::Body, Takes::Nothing, {0, "Inf"}, "a value is Inf", nullptr, bodyfaults::numberReplaced},
    {"overflow", Layer::Body, Takes::Nothing, {0, "1e400"}, "a value is 1e400", nullptr, bodyfaults::numberReplaced},
    {"missing-column", Layer::Body, Takes::Text, {0, "nPulses"}, "KEY has no line (nPulses)", nullptr, bodyfaults::lineRemoved},
    {"unequal-columns", Layer::Body, Takes::Nothing, {}, "one voltage fewer than times", nullptr, bodyfaults::unequalColumns},
    {"big-count", Layer::Body, Takes::Number, {2147483648, {}}, "N samples and events in the frame, 65535 points in an event", nullptr, bodyfaults::countsReplaced},
    {"negative-count", Layer::Body, Takes::Nothing, {-1, {}}, "-1 samples and events in the frame", nullptr, bodyfaults::countsReplaced},
    {"shrink", Layer::Body, Takes::Nothing, {}, "half of the samples in the frame", nullptr, bodyfaults::shrunk},
    {"deep-json", Layer::Body, Takes::Number, {100000, {}}, "N nested lists instead of the page", nullptr, bodyfaults::deepJson},
    {"duplicate-keys", Layer::Body, Takes::Number, {50, {}}, "every line N times", nullptr, bodyfaults::duplicateKeys},
    {"times-back", Layer::Body, Takes::Nothing, {}, "sample times run backwards", nullptr, bodyfaults::timesBackwards},
    {"times-equal", Layer::Body, Takes::Nothing, {}, "all sample times are the same", nullptr, bodyfaults::timesEqual},
    {"serial", Layer::Body, Takes::Text, {0, "OTHER-SENSOR"}, "TEXT is the serial number", nullptr, bodyfaults::otherSerial},
    // clang-format on
};

constexpr qint64 numberLimit = 4294967295;

Fault refused(QString *error, const QString &reason)
{
    *error = reason;
    return {};
}

Fault statusFault(int code, QString *error)
{
    if (code != 204 && (code < 300 || code > 599))
        return refused(error, QStringLiteral("%1 is not a status code between 300 and 599, nor 204").arg(code));
    return {&statusType, {code, {}}};
}

const FaultType *typeOf(const QByteArray &name)
{
    for (const FaultType &type : types) {
        if (name == type.name && type.name != statusType.name)
            return &type;
    }
    return nullptr;
}

} // namespace

Fault parseFault(const QByteArray &text, QString *error)
{
    const int colon = text.indexOf(':');
    const QByteArray name = (colon < 0 ? text : text.left(colon)).trimmed();
    const QByteArray argument = colon < 0 ? QByteArray() : text.mid(colon + 1).trimmed();
    bool isNumber = false;
    const int code = name.toInt(&isNumber);
    if (isNumber && colon < 0)
        return statusFault(code, error);

    const FaultType *type = typeOf(name);
    if (!type)
        return refused(error, QStringLiteral("'%1' is not a fault").arg(QString::fromUtf8(name)));
    Fault fault{type, type->absent};
    if (colon < 0)
        return fault;
    if (type->takes == Takes::Nothing)
        return refused(error, QStringLiteral("'%1' takes nothing after a colon").arg(QString::fromUtf8(name)));
    if (type->takes == Takes::Text) {
        fault.argument.text = argument;
        return fault;
    }
    fault.argument.number = argument.toLongLong(&isNumber);
    if (!isNumber || fault.argument.number < 0 || fault.argument.number > numberLimit)
        return refused(error, QStringLiteral("'%1' wants a whole number after the colon, not '%2'")
                                  .arg(QString::fromUtf8(name), QString::fromUtf8(argument)));
    return fault;
}

QString faultHelp()
{
    QString help;
    for (const FaultType &type : types) {
        const char *suffix = "";
        if (type.takes == Takes::Number && type.name != statusType.name)
            suffix = "[:N]";
        else if (type.takes == Takes::Text)
            suffix = "[:TEXT]";
        const QString name = QLatin1String(type.name) + QLatin1String(suffix);
        help += QStringLiteral("    %1 %2\n").arg(name, -22).arg(QLatin1String(type.help));
    }
    return help;
}
