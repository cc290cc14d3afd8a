#include "platform/linux/HttpClient.h"

#include <algorithm>
#include <boost/asio/buffer.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/core/tcp_stream.hpp>
#include <boost/beast/http/parser.hpp>
#include <boost/beast/http/vector_body.hpp>
#include <boost/system/system_error.hpp>
#include <cstring>
#include <string>
#include <string_view>

namespace tarn {
namespace {

namespace asio = boost::asio;
namespace beast = boost::beast;
namespace http = boost::beast::http;
using boost::system::error_code;
using Parser = http::response_parser<http::vector_body<uint8_t>>;

constexpr size_t kReadSizeBytes = size_t{16} << 10;
// What may wait for the rest of its line or section: more belongs to a server that never ends one.
constexpr size_t kUnparsedLimitBytes = 2 * HttpClient::kHeadLimitBytes;
constexpr int kInterimAnswerLimit = 100;
// Every answer begins with this, whatever its minor version.
constexpr std::string_view kAnswerBeginning = "HTTP/1.";

Error transportError(int code, const char* description) { return {kUrlErrorDomain, code, description}; }
Error connectionLost() { return transportError(kUrlErrorConnectionLost, "The network connection was lost."); }
Error timedOut() { return transportError(kUrlErrorTimedOut, "The request timed out."); }

std::string requestHead(const MutableURLRequest& request) {
    std::string head = request.method + " " + request.url->target + " HTTP/1.1\r\n";
    head += "Host: " + request.url->authority + "\r\n";
    for (const auto& [name, value] : request.headers) head.append(name).append(": ").append(value).append("\r\n");
    head += "Connection: close\r\n\r\n";
    return head;
}

// A connection whose every step is given up after the idle limit.
class Connection {
  public:
    explicit Connection(std::chrono::milliseconds idleLimit) : idleLimit_(idleLimit) {}

    // Tries the host's addresses in turn; what the last one said counts.
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

    // A server that answers before it has read everything may close early. So a failure to send is none yet: the
    // answer, or its lack, tells. Only a server that takes nothing for too long ends the exchange here.
    ErrorSlot send(asio::const_buffer bytes) {
        error_code status;
        while (bytes.size() != 0 && !status) {
            start();
            stream_.async_write_some(bytes, [&status, &bytes](error_code result, size_t count) {
                status = result;
                bytes += count;
            });
            context_.run();
        }
        if (status == beast::error::timeout) return timedOut();
        return std::nullopt;
    }

    // Appends what has come to buffer; the status is asio's end of file at the end of the connection.
    error_code receive(beast::flat_buffer& buffer) {
        error_code status;
        start();
        stream_.async_read_some(buffer.prepare(kReadSizeBytes), [&status, &buffer](error_code result, size_t count) {
            status = result;
            buffer.commit(count);
        });
        context_.run();
        return status;
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

struct Answer {
    std::optional<Bytes> body;
    std::optional<HTTPURLResponse> response; // neither response nor error: what came was no HTTP answer
    ErrorSlot error;
};

// One message of the answer: interim or final.
class AnswerReader {
  public:
    static Answer unparsable() {
        return {{}, {}, transportError(kUrlErrorCannotParseBody, "The server's answer could not be parsed.")};
    }

    AnswerReader(Connection& connection, beast::flat_buffer& buffer) : connection_(connection), buffer_(buffer) {
        parser_.eager(true);
        parser_.header_limit(HttpClient::kHeadLimitBytes);
        parser_.body_limit(HttpClient::kBodyLimitBytes);
    }

    // Reads until the message is complete or it cannot become so.
    Answer read() {
        while (!parser_.is_done()) {
            if (!begun_ && !mayBeAnswer()) return {};
            error_code status = http::error::need_more;
            if (buffer_.size() != 0) {
                const size_t taken = parser_.put(buffer_.data(), status);
                buffer_.consume(taken);
                begun_ = begun_ || taken != 0;
            }
            if (status && status != http::error::need_more) return failure(status);
            if (parser_.is_done() || (!status && buffer_.size() != 0)) continue;
            if (auto end = receiveMore()) return std::move(*end);
        }
        return success();
    }

    // 101 is final: what follows it is no longer HTTP.
    bool isInterim() const {
        return parser_.is_header_done() && parser_.get().result_int() / 100 == 1 && parser_.get().result_int() != 101;
    }

  private:
    bool mayBeAnswer() const {
        const size_t count = std::min(buffer_.size(), kAnswerBeginning.size());
        return count == 0 || std::memcmp(buffer_.data().data(), kAnswerBeginning.data(), count) == 0;
    }

    // A head that breaks the rules is no answer; a body that does is a failed exchange.
    Answer failure(error_code status) const {
        if (status == http::error::body_limit) { // known from the head already when the length is announced
            return {{}, {}, transportError(kUrlErrorCannotParseBody, "The server's answer is too long.")};
        }
        return parser_.is_header_done() ? unparsable() : Answer();
    }

    // Nothing when more has come; else the outcome that the connection's end makes.
    std::optional<Answer> receiveMore() {
        if (buffer_.size() > kUnparsedLimitBytes) return unparsable();
        const error_code status = connection_.receive(buffer_);
        if (!status) return std::nullopt;
        if (status == beast::error::timeout) return Answer{{}, {}, timedOut()};
        if (status != asio::error::eof || !parser_.is_header_done()) return Answer{{}, {}, connectionLost()};
        error_code incomplete;
        parser_.put_eof(incomplete);
        if (incomplete) return Answer{{}, {}, connectionLost()};
        return success();
    }

    Answer success() {
        Answer answer;
        answer.response = HTTPURLResponse{static_cast<int>(parser_.get().result_int())};
        if (parser_.chunked() || !parser_.get().body().empty()) answer.body = std::move(parser_.get().body());
        return answer;
    }

    Connection& connection_;
    beast::flat_buffer& buffer_;
    Parser parser_;
    bool begun_ = false; // the first line has been taken
};

Answer exchange(const MutableURLRequest& request, std::chrono::milliseconds idleLimit) {
    if (!request.url) return {{}, {}, transportError(kUrlErrorBadUrl, "The URL is not valid.")};
    Connection connection(idleLimit);
    if (auto error = connection.open(*request.url)) return {{}, {}, std::move(error)};
    std::string bytes = requestHead(request);
    bytes.append(request.body.begin(), request.body.end());
    if (auto error = connection.send(asio::buffer(bytes))) return {{}, {}, std::move(error)};
    beast::flat_buffer buffer;
    for (int i = 0; i <= kInterimAnswerLimit; ++i) {
        AnswerReader reader(connection, buffer);
        Answer answer = reader.read();
        if (!answer.response || !reader.isInterim()) return answer;
    }
    return AnswerReader::unparsable();
}

} // namespace

std::optional<Bytes> HttpClient::sendSynchronousRequest(const MutableURLRequest& request,
                                                        std::optional<HTTPURLResponse>& response, ErrorSlot& error) {
    Answer answer;
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
