#pragma once

#include "simulator/wirescript.h"

#include <QByteArray>
#include <QString>

/// What a fault was given after its colon.
struct FaultArgument
{
    qint64 number = 0;
    QByteArray text;
};

/// One kind of fault. All of them are one table; the parser, the help and the server read it.
struct FaultType
{
    enum class Layer {
        Instead, // the request is not carried out, something else is answered
        Wire,    // the request is carried out, its reply is spoiled on the way
        Body,    // the request is carried out, its page is another one; the HTTP around it is good
    };
    enum class Takes { Nothing, Number, Text };
    using MakeScript = WireScript (*)(const FaultArgument &argument, const QByteArray &goodReply);
    using SpoilBody = QByteArray (*)(const FaultArgument &argument, const QByteArray &body);

    const char *name;
    Layer layer;
    Takes takes;
    FaultArgument absent; // the argument when none is given
    const char *help;
    MakeScript script; // of Instead and Wire
    SpoilBody spoil;   // of Body
};

struct Fault
{
    const FaultType *type = nullptr;
    FaultArgument argument;
};

/// Reads "delay:1500", "404", "missing-column:nPulses". A fault without type, and a reason, when it makes no sense.
Fault parseFault(const QByteArray &text, QString *error);

/// One line for each fault, for the help.
QString faultHelp();
