#pragma once

#include "simulator/fault.h"

/// Connections that break and replies that are no good HTTP, as scripts made from the good reply. Endless ones end
/// after 64 MiB.
namespace wirefaults {

WireScript hang(const FaultArgument &, const QByteArray &);
WireScript reset(const FaultArgument &, const QByteArray &);
WireScript close(const FaultArgument &, const QByteArray &);
WireScript garbage(const FaultArgument &, const QByteArray &);
/// A status code without content; a redirect leads to the same address.
WireScript status(const FaultArgument &code, const QByteArray &);
WireScript empty(const FaultArgument &, const QByteArray &);
WireScript endlessLine(const FaultArgument &, const QByteArray &);
WireScript endlessHeader(const FaultArgument &, const QByteArray &);

WireScript delay(const FaultArgument &ms, const QByteArray &goodReply);
/// After so many bytes of the body; -1: half of it.
WireScript resetInBody(const FaultArgument &bytes, const QByteArray &goodReply);
WireScript closeInBody(const FaultArgument &bytes, const QByteArray &goodReply);
/// The same without a Content-Length, so that only the content can show it.
WireScript cut(const FaultArgument &bytes, const QByteArray &goodReply);
WireScript noLength(const FaultArgument &, const QByteArray &goodReply);
WireScript chunked(const FaultArgument &, const QByteArray &goodReply);
WireScript badChunks(const FaultArgument &, const QByteArray &goodReply);
WireScript missingChunks(const FaultArgument &, const QByteArray &goodReply);
WireScript negativeLength(const FaultArgument &, const QByteArray &goodReply);
WireScript doubleLength(const FaultArgument &, const QByteArray &goodReply);
WireScript shortLength(const FaultArgument &, const QByteArray &goodReply);
WireScript hugeLength(const FaultArgument &, const QByteArray &goodReply);
WireScript lfOnly(const FaultArgument &, const QByteArray &goodReply);
WireScript endlessBody(const FaultArgument &, const QByteArray &goodReply);
WireScript dripHeader(const FaultArgument &ms, const QByteArray &goodReply);
WireScript dripBody(const FaultArgument &ms, const QByteArray &goodReply);
WireScript gzip(const FaultArgument &, const QByteArray &goodReply);

} // namespace wirefaults
