#pragma once

#include <QByteArray>
#include <QJsonDocument>

/// QJsonDocument::fromJson for bytes from outside, in any thread. The toolkit's parser never frees an array or object
/// whose key comes again in the same object, so a peer could grow the program for ever: such a document is refused as
/// an illegal value at the repeated key. Everything else is the parser's own result.
QJsonDocument parseJson(const QByteArray &bytes, QJsonParseError *error = nullptr);
