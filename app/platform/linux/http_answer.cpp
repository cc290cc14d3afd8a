// SPDX-License-Identifier: Apache-2.0
#include "platform/linux/http_answer.h"

#include <algorithm>
#include <boost/asio/buffer.hpp>
#include <boost/beast/core/buffers_range.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/http/parser.hpp>
#include <cstring>
#include <string_view>

namespace tarn {
namespace {

namespace beast = boost::beast;
namespace http = boost::beast::http;
using boost::system::error_code;

// A body that grows with the bytes that come: an announced length takes no memory.
struct GrowingBody {
    using value_type = Bytes;

    class reader {
      public:
        template <class Header>
        reader(const Header& /*header*/, value_type& body) : body_(body) {}

        void init(const boost::optional<uint64_t>& /*announcedBytes*/, error_code& status) { status = {}; }
        template <class Buffers>
        size_t put(const Buffers& buffers, error_code& status) {
            const size_t before = body_.size();
            for (const auto part : beast::buffers_range_ref(buffers)) {
                const auto* bytes = static_cast<const uint8_t*>(part.data());
                body_.insert(body_.end(), bytes, bytes + part.size());
            }
            status = {};
            return body_.size() - before;
        }
        void finish(error_code& status) { status = {}; }

      private:
        value_type& body_;
    };
};
using Parser = http::response_parser<GrowingBody>;

constexpr size_t kReadSizeBytes = size_t{16} << 10;
// The most that is kept while the rest of a line or section is missing, since a server may never end it.
constexpr size_t kUnparsedLimitBytes = 2 * kHttpHeadLimitBytes;
constexpr int kInterimAnswerLimit = 100;
// Every answer begins with this, whatever its minor version.
constexpr std::string_view kAnswerBeginning = "HTTP/1.";
constexpr std::string_view kHeadEnd = "\r\n\r\n";

HttpAnswer failed(Error error) { return {{}, {}, std::move(error)}; }
HttpAnswer unparsable() {
    return failed(transportError(kUrlErrorCannotParseBody, "The server's answer could not be parsed."));
}
HttpAnswer connectionLost() {
    return failed(transportError(kUrlErrorConnectionLost, "The network connection was lost."));
}

// Keeps the chunks of a body within the bound. If a chunk's line has an endless extension, the parser's own limit
// counts the chunk again for each piece in which that line arrives.
class ChunkLimit {
  public:
    void operator()(uint64_t chunkBytes, beast::string_view, error_code& status) {
        if (chunkBytes > leftBytes_) {
            status = http::error::body_limit;
        } else {
            leftBytes_ -= chunkBytes;
        }
    }

  private:
    uint64_t leftBytes_ = kHttpBodyLimitBytes;
};

// One message of the answer: interim or final.
class MessageReader {
  public:
    MessageReader(const ReceiveSome& receive, beast::flat_buffer& buffer) : receive_(receive), buffer_(buffer) {
        parser_.header_limit(kHttpHeadLimitBytes);
        parser_.body_limit(kHttpBodyLimitBytes);
        parser_.on_chunk_header(chunkLimit_);
    }

    // Reads until the message is complete or it cannot become so.
    HttpAnswer read() {
        while (!parser_.is_done()) {
            if (!begun_ && !mayBeAnswer()) return {};
            error_code status = http::error::need_more;
            if (buffer_.size() != 0 && (begun_ || isHeadWhole())) {
                const size_t taken = parser_.put(buffer_.data(), status);
                buffer_.consume(taken);
                begun_ = begun_ || taken != 0;
                // The head alone at first: an eager parser continues with what follows a head that it has refused.
                parser_.eager(parser_.is_header_done());
                if (parser_.is_header_done() && parser_.chunked()) parser_.body_limit(boost::none);
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

    // Or too long. The parser gets whole heads only: whether it rejects a part of one depends on how it arrives.
    bool isHeadWhole() {
        const std::string_view text(static_cast<const char*>(buffer_.data().data()), buffer_.size());
        const size_t end = text.find(kHeadEnd, searched_);
        searched_ = text.size() - std::min(text.size(), kHeadEnd.size() - 1);
        return end != std::string_view::npos || text.size() > kHttpHeadLimitBytes;
    }

    // A head that breaks the rules is no answer; a body that does is a failed exchange.
    HttpAnswer failure(error_code status) const {
        if (status == http::error::body_limit) { // known from the head already when the length is announced
            return failed(transportError(kUrlErrorCannotParseBody, "The server's answer is too long."));
        }
        return parser_.is_header_done() ? unparsable() : HttpAnswer();
    }

    // Nothing if more bytes came; otherwise the outcome of the connection's end.
    std::optional<HttpAnswer> receiveMore() {
        if (buffer_.size() > kUnparsedLimitBytes) return unparsable();
        const auto room = buffer_.prepare(kReadSizeBytes);
        size_t count = 0;
        const Received received = receive_({static_cast<uint8_t*>(room.data()), room.size()}, count);
        buffer_.commit(count);
        if (received == Received::kSome) return std::nullopt;
        if (received == Received::kTimedOut) return failed(timedOut());
        if (received != Received::kEnd || !parser_.is_header_done()) return connectionLost();
        error_code incomplete;
        parser_.put_eof(incomplete);
        if (incomplete) return connectionLost();
        return success();
    }

    HttpAnswer success() {
        HttpAnswer answer;
        answer.response = HTTPURLResponse{static_cast<int>(parser_.get().result_int())};
        if (parser_.chunked() || !parser_.get().body().empty()) answer.body = std::move(parser_.get().body());
        return answer;
    }

    const ReceiveSome& receive_;
    beast::flat_buffer& buffer_;
    ChunkLimit chunkLimit_;
    Parser parser_;
    bool begun_ = false;  // the head has been taken
    size_t searched_ = 0; // bytes of the buffer in which no head ends
};

} // namespace

HttpAnswer readHttpAnswer(const ReceiveSome& receive) {
    beast::flat_buffer buffer;
    for (int i = 0; i <= kInterimAnswerLimit; ++i) {
        MessageReader reader(receive, buffer);
        HttpAnswer answer = reader.read();
        if (!answer.response || !reader.isInterim()) return answer;
    }
    return unparsable();
}

Error transportError(int code, const char* description) { return {kUrlErrorDomain, code, description}; }
Error timedOut() { return transportError(kUrlErrorTimedOut, "The request timed out."); }

} // namespace tarn
