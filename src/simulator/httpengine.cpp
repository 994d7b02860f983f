#include "simulator/httpengine.h"

#include <algorithm>
#include <cstring>
#include <httplib.h>

namespace {

constexpr std::size_t bodyLimit = 1 << 20;

QByteArray bytesOf(const std::string &text)
{
    return QByteArray(text.data(), int(text.size()));
}

/// A connection of the HTTP library that reads from memory and writes to memory.
class MemoryStream final : public httplib::Stream
{
public:
    explicit MemoryStream(const QByteArray &input) : m_input(input) {}

    bool is_readable() const override { return m_position < m_input.size(); }
    bool is_writable() const override { return true; }

    ssize_t read(char *buffer, std::size_t size) override
    {
        const int count = int(std::min(size, std::size_t(m_input.size() - m_position)));
        std::memcpy(buffer, m_input.constData() + m_position, std::size_t(count));
        m_position += count;
        return count;
    }

    ssize_t write(const char *data, std::size_t size) override
    {
        m_output.append(data, int(size));
        return ssize_t(size);
    }

    void get_remote_ip_and_port(std::string &, int &) const override {}
    void get_local_ip_and_port(std::string &, int &) const override {}
    socket_t socket() const override { return INVALID_SOCKET; }

    const QByteArray &output() const { return m_output; }

private:
    const QByteArray &m_input;
    int m_position = 0;
    QByteArray m_output;
};

PageRequest pageRequest(const httplib::Request &request)
{
    PageRequest result;
    result.method = bytesOf(request.method);
    result.path = bytesOf(request.path);
    result.body = bytesOf(request.body);
    for (const auto &parameter : request.params)
        result.query.insert(bytesOf(parameter.first), bytesOf(parameter.second));
    return result;
}

} // namespace

class HttpEngine::Engine final : public httplib::Server
{
public:
    explicit Engine(Service service)
    {
        const auto handler = [service = std::move(service)](const httplib::Request &request,
                                                            httplib::Response &response) {
            const PageReply reply = service(pageRequest(request));
            response.status = reply.status;
            response.set_content(reply.body.constData(), std::size_t(reply.body.size()),
                                 reply.contentType.toStdString());
        };
        Get(".*", handler);
        Post(".*", handler);
        set_payload_max_length(bodyLimit);
        set_keep_alive_max_count(1000000);
        set_keep_alive_timeout(60);
    }

    HttpEngine::Reply process(const QByteArray &request)
    {
        MemoryStream stream(request);
        bool closed = false;
        // A sensor never compresses and knows no partial pages.
        const bool good = process_request(stream, false, closed, [](httplib::Request &received) {
            received.headers.erase("Accept-Encoding");
            received.headers.erase("Range");
        });
        return {stream.output(), closed || !good};
    }
};

HttpEngine::HttpEngine(Service service) : m_engine(std::make_unique<Engine>(std::move(service))) {}

HttpEngine::~HttpEngine() = default;

HttpEngine::Reply HttpEngine::process(const QByteArray &request)
{
    return m_engine->process(request);
}
