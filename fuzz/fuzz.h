#pragma once

#include <QByteArray>
#include <QtGlobal>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

/// The entry that libFuzzer and the replay call with each input.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size);

/// Refused inputs are logged; millions of such lines would only take time.
inline const QtMessageHandler replacedHandler =
    qInstallMessageHandler([](QtMsgType, const QMessageLogContext &, const QString &) {});

/// A view of the input as the decoders take it. It ends where the input ends, so that reading past it is seen.
inline QByteArray bytesOf(const std::uint8_t *data, std::size_t size)
{
    return QByteArray::fromRawData(reinterpret_cast<const char *>(data), static_cast<int>(size));
}

/// A promise that must hold for every input.
#define FUZZ_CHECK(condition)                                                                                          \
    do {                                                                                                               \
        if (!(condition)) {                                                                                            \
            std::fprintf(stderr, "%s:%d: does not hold: %s\n", __FILE__, __LINE__, #condition);                        \
            std::abort();                                                                                              \
        }                                                                                                              \
    } while (false)
