// SPDX-License-Identifier: Apache-2.0
#include "platform/linux/http_client.h"

#include "platform/linux/http_answer.h"

#include <array>
#include <boost/asio/buffer.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/beast/core/buffers_suffix.hpp>
#include <boost/beast/core/tcp_stream.hpp>
#include <boost/system/system_error.hpp>
#include <string>
#include <string_view>

namespace tarn {
namespace {

namespace asio = boost::asio;
namespace beast = boost::beast;
using boost::system::error_code;

std::string requestHead(const MutableURLRequest& request) {
    std::string head = request.method + " " + request.url->target + " HTTP/1.1\r\n";
    head += "Host: " + request.url->authority + "\r\n";
    for (const auto& [name, value] : request.headers) head.append(name).append(": ").append(value).append("\r\n");
    head += "Connection: close\r\n\r\n";
    return head;
}

// A connection on which every step may take the idle limit at most.
class Connection {
  public:
    explicit Connection(std::chrono::milliseconds idleLimit) : idleLimit_(idleLimit) {}

    // Tries the host's addresses in turn; if all fail, the last failure counts.
    ErrorSlot open(const Url& url) {
        error_code status;
        asio::ip::tcp::resolver resolver(context_);
        const auto addresses = resolver.resolve(url.host, std::to_string(url.port), status);
        if (status || addresses.empty()) {
            return transportError(kUrlErrorCannotFindHost, "A server with the given host name could not be found.");
        }
        for (const auto& address : addresses) {
            start();
            stream_.async_connect(address.endpoint(), [&status](error_code result) { status = result; });
            context_.run();
            if (!status) return std::nullopt;
            stream_.close();
        }
        if (status == beast::error::timeout) return timedOut();
        return transportError(kUrlErrorCannotConnect, "Could not connect to the server.");
    }

    // A server that answers before it has read everything may close early. So a failure to send does not end the
    // exchange: the answer, or its absence, decides. Only a server that takes nothing for too long ends it here.
    ErrorSlot send(std::string_view head, const Bytes& body) {
        beast::buffers_suffix bytes(std::array{asio::buffer(head), asio::buffer(body)});
        error_code status;
        while (asio::buffer_size(bytes) != 0 && !status) {
            start();
            stream_.async_write_some(bytes, [&status, &bytes](error_code result, size_t count) {
                status = result;
                bytes.consume(count);
            });
            context_.run();
        }
        if (status == beast::error::timeout) return timedOut();
        return std::nullopt;
    }

    Received receive(std::span<uint8_t> room, size_t& count) {
        error_code status;
        start();
        stream_.async_read_some(asio::buffer(room.data(), room.size()), [&](error_code result, size_t bytes) {
            status = result;
            count = bytes;
        });
        context_.run();
        if (!status) return Received::kSome;
        if (status == beast::error::timeout) return Received::kTimedOut;
        return status == asio::error::eof ? Received::kEnd : Received::kLost;
    }

  private:
    // Before each step: it may take the idle limit, and context_.run() then waits for its end.
    void start() {
        stream_.expires_after(idleLimit_);
        context_.restart();
    }

    std::chrono::milliseconds idleLimit_;
    asio::io_context context_{1};
    beast::tcp_stream stream_{context_};
};

HttpAnswer exchange(const MutableURLRequest& request, std::chrono::milliseconds idleLimit) {
    if (!request.url) return {{}, {}, transportError(kUrlErrorBadUrl, "The URL is not valid.")};
    Connection connection(idleLimit);
    if (auto error = connection.open(*request.url)) return {{}, {}, std::move(error)};
    if (auto error = connection.send(requestHead(request), request.body)) return {{}, {}, std::move(error)};
    return readHttpAnswer([&](std::span<uint8_t> room, size_t& count) { return connection.receive(room, count); });
}

} // namespace

std::optional<Bytes> HttpClient::sendSynchronousRequest(const MutableURLRequest& request,
                                                        std::optional<HTTPURLResponse>& response, ErrorSlot& error) {
    HttpAnswer answer;
    try {
        answer = exchange(request, idleLimit_);
    } catch (const boost::system::system_error&) { // the system has no descriptors left
        answer.error = transportError(kUrlErrorCannotConnect, "Could not connect to the server.");
    }
    response = answer.response;
    if (answer.error) error = std::move(answer.error);
    return std::move(answer.body);
}

} // namespace tarn
