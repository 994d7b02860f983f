#pragma once

#include "simulator/pageservice.h"

#include <QByteArray>

#include <functional>
#include <memory>

/// Turns the bytes of one HTTP request into the bytes of its reply with the packaged HTTP library: it parses the
/// request, finds the page and formats the answer. The connection itself stays with the caller, which can therefore
/// also break it in ways the library cannot. Used from one thread.
class HttpEngine
{
public:
    using Service = std::function<PageReply(const PageRequest &)>;

    explicit HttpEngine(Service service);
    ~HttpEngine();

    struct Reply
    {
        QByteArray bytes;
        bool close = false; // the connection ends after this reply
    };

    /// `request` holds exactly one request with its body.
    Reply process(const QByteArray &request);

private:
    class Engine;
    std::unique_ptr<Engine> m_engine;
};
