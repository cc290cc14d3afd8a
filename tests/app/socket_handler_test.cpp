// SPDX-License-Identifier: Apache-2.0
// The exchange over byte streams.
#include "TarnSocketHandler.h"
#include "app/descriptor_streams.h"
#include "support/hex.h"
#include "support/scripted_services.h"

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>

namespace kvxtest {
namespace {

constexpr uint32_t kOpen = 1;
constexpr uint32_t kBytes = 2;
constexpr uint32_t kSpace = 4;
constexpr uint32_t kError = 8;
constexpr uint32_t kEnd = 16;

// A stream's error, which the stream itself retains once.
class OwnError {
  public:
    OwnError() : error_(tarn::RetainedError::create({"NSPOSIXErrorDomain", 5, "Input/output error"})) {}
    ~OwnError() {
        while (error_->retainCount() > 1) error_->release();
        error_->release();
    }
    OwnError(const OwnError&) = delete;
    OwnError& operator=(const OwnError&) = delete;
    tarn::RetainedError* get() const { return error_; }
    int retains() const { return error_->retainCount() - 1; } // other than the stream's own

  private:
    tarn::RetainedError* error_;
};

struct ScriptedInput : tarn::InputStream {
    std::vector<Bytes> pieces;
    int64_t failAt = -1;
    size_t reads = 0;
    OwnError error;
    int64_t read(uint8_t* buffer, size_t capacity) override {
        const size_t number = reads++;
        if (static_cast<int64_t>(number) == failAt) return -1;
        if (number >= pieces.size()) return 0;
        EXPECT_LE(pieces[number].size(), capacity);
        std::copy(pieces[number].begin(), pieces[number].end(), buffer);
        return static_cast<int64_t>(pieces[number].size());
    }
    tarn::RetainedError* streamError() const override { return error.get(); }
};

struct ScriptedOutput : tarn::OutputStream {
    std::vector<Bytes> chunks; // as they were offered
    int64_t takes = -1;        // bytes taken of each; negative: all
    int64_t failAt = -1;
    OwnError error;
    int64_t write(const uint8_t* data, size_t count) override {
        const auto number = static_cast<int64_t>(chunks.size());
        chunks.emplace_back(data, data + count);
        if (number == failAt) return -1;
        return takes < 0 ? static_cast<int64_t>(count) : takes;
    }
    tarn::RetainedError* streamError() const override { return error.get(); }
};

Bytes pattern(size_t count) {
    Bytes bytes(count);
    for (size_t i = 0; i < count; ++i) bytes[i] = static_cast<uint8_t>(i * 7 + i / 251);
    return bytes;
}

struct Exchange {
    explicit Exchange(const Bytes& request) : handler(new tarn::TarnSocketHandler(request, output, input, log)) {}
    KeptLog log;
    std::shared_ptr<ScriptedInput> input = std::make_shared<ScriptedInput>();
    std::shared_ptr<ScriptedOutput> output = std::make_shared<ScriptedOutput>();
    std::unique_ptr<tarn::TarnSocketHandler> handler;
};

std::vector<size_t> sizes(const std::vector<Bytes>& chunks) {
    std::vector<size_t> all;
    all.reserve(chunks.size());
    for (const Bytes& chunk : chunks) all.push_back(chunk.size());
    return all;
}

Bytes together(const std::vector<Bytes>& chunks) {
    Bytes all;
    for (const Bytes& chunk : chunks) all.insert(all.end(), chunk.begin(), chunk.end());
    return all;
}

TEST(SocketHandler, WritesInChunksOfItsBuffer) {
    const Bytes request = pattern(4096 + 4096 + 100);
    Exchange exchange(request);
    for (int i = 0; i < 5; ++i) exchange.handler->handleEvent(*exchange.output, kSpace);
    EXPECT_EQ(sizes(exchange.output->chunks), (std::vector<size_t>{4096, 4096, 100}));
    EXPECT_EQ(hexDump(together(exchange.output->chunks)), hexDump(request));
    EXPECT_EQ(hexDump(exchange.handler->request()), hexDump(request));
    EXPECT_EQ(exchange.handler->finished(), 0);
}

TEST(SocketHandler, WritesNothingForAnEmptyRequest) {
    Exchange exchange({});
    exchange.handler->handleEvent(*exchange.output, kSpace);
    EXPECT_TRUE(exchange.output->chunks.empty());
}

TEST(SocketHandler, AdvancesByTheChunkAfterAShortWrite) {
    const Bytes request = pattern(4096 + 100);
    Exchange exchange(request);
    exchange.output->takes = 10;
    for (int i = 0; i < 3; ++i) exchange.handler->handleEvent(*exchange.output, kSpace);
    // The 4086 bytes that were not taken are never offered again.
    EXPECT_EQ(sizes(exchange.output->chunks), (std::vector<size_t>{4096, 100}));
    EXPECT_EQ(hexDump(exchange.output->chunks.at(1)), hexDump({request.data() + 4096, 100}));
}

TEST(SocketHandler, CollectsWhatItReads) {
    Exchange exchange(pattern(1));
    EXPECT_FALSE(exchange.handler->response());
    exchange.input->pieces = {pattern(4096), pattern(3)};
    exchange.handler->handleEvent(*exchange.input, kBytes);
    exchange.handler->handleEvent(*exchange.input, kBytes);
    exchange.handler->handleEvent(*exchange.input, kBytes); // reads 0 bytes: nothing happens
    ASSERT_TRUE(exchange.handler->response());
    EXPECT_EQ(hexDump(*exchange.handler->response()), hexDump(together({pattern(4096), pattern(3)})));
    EXPECT_EQ(exchange.handler->finished(), 0);
}

TEST(SocketHandler, AReadOfNothingStillCreatesTheResponse) {
    Exchange exchange(pattern(1));
    exchange.handler->handleEvent(*exchange.input, kBytes);
    ASSERT_TRUE(exchange.handler->response());
    EXPECT_TRUE(exchange.handler->response()->empty());
}

TEST(SocketHandler, MindsOnlyItsOwnStreams) {
    Exchange exchange(pattern(5));
    exchange.input->pieces = {pattern(5)};
    exchange.handler->handleEvent(*exchange.output, kBytes);
    exchange.handler->handleEvent(*exchange.input, kSpace);
    EXPECT_FALSE(exchange.handler->response());
    EXPECT_TRUE(exchange.output->chunks.empty());
}

TEST(SocketHandler, LogsThatAStreamIsOpenAndNothingElse) {
    Exchange exchange(pattern(5));
    for (const uint32_t code : {kOpen, kBytes, kSpace, kError, kEnd, 0U, 3U, 32U}) {
        exchange.handler->handleEvent(*exchange.input, code);
    }
    EXPECT_EQ(exchange.log.entries, std::vector<std::string>{"Open Completed"});
}

TEST(SocketHandler, UnknownEventsDoNothing) {
    Exchange exchange(pattern(5));
    for (const uint32_t code : {0U, 3U, 6U, 32U, 0xffffffffU}) exchange.handler->handleEvent(*exchange.input, code);
    EXPECT_EQ(exchange.handler->finished(), 0);
    EXPECT_EQ(exchange.handler->error(), nullptr);
    EXPECT_TRUE(exchange.output->chunks.empty());
}

TEST(SocketHandler, EndsAtTheEndOfTheStream) {
    Exchange exchange(pattern(5));
    exchange.handler->handleEvent(*exchange.input, kEnd);
    EXPECT_EQ(exchange.handler->finished(), 1);
    EXPECT_EQ(exchange.handler->error(), nullptr);
}

TEST(SocketHandler, EndsWithTheErrorOfTheStreamThatFailed) {
    struct Case {
        const char* name;
        bool input;
        uint32_t code;
    };
    const Case cases[] = {
        {"read", true, kBytes},
        {"write", false, kSpace},
        {"error of the input", true, kError},
        {"error of the output", false, kError},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        Exchange exchange(pattern(5));
        exchange.input->failAt = 0;
        exchange.output->failAt = 0;
        tarn::Stream* stream = &*exchange.output;
        if (c.input) stream = &*exchange.input;
        exchange.handler->handleEvent(*stream, c.code);
        EXPECT_EQ(exchange.handler->finished(), 1);
        EXPECT_EQ(exchange.handler->error(), stream->streamError());
    }
}

TEST(SocketHandler, RetainsItsErrorOnceMoreOnEveryLaterEvent) {
    Exchange exchange(pattern(5));
    const auto input = exchange.input;
    exchange.handler->handleEvent(*input, kOpen);
    EXPECT_EQ(input->error.retains(), 0);
    exchange.handler->handleEvent(*input, kError);
    EXPECT_EQ(input->error.retains(), 1);
    for (const uint32_t code : {kOpen, kEnd, 0U}) exchange.handler->handleEvent(*input, code);
    EXPECT_EQ(input->error.retains(), 4);
    exchange.handler.reset(); // gives one back
    EXPECT_EQ(input->error.retains(), 3);
}

TEST(SocketHandler, SettersRetainAndReplace) {
    OwnError first;
    OwnError second;
    Exchange exchange(pattern(5));
    exchange.handler->setError(first.get());
    exchange.handler->setError(first.get());
    EXPECT_EQ(first.retains(), 1);
    exchange.handler->setError(second.get());
    EXPECT_EQ(first.retains(), 0);
    EXPECT_EQ(second.retains(), 1);
    exchange.handler->setFinished(1);
    exchange.handler->setResponse(pattern(3));
    EXPECT_EQ(exchange.handler->finished(), 1);
    EXPECT_EQ(hexDump(exchange.handler->response().value()), hexDump(pattern(3)));
    exchange.handler.reset();
    EXPECT_EQ(second.retains(), 0);
}

// Over a real pair of sockets, with the loop that tells of their events.
TEST(SocketHandler, ExchangesWithAPeer) {
    int ends[2];
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, ends), 0);
    const Bytes request = pattern(4096 + 4096 + 100);
    const Bytes answer = pattern(10'000);
    Bytes received;
    std::thread peer([&] {
        Bytes buffer(4096);
        while (received.size() < request.size()) {
            const ssize_t count = ::read(ends[1], buffer.data(), buffer.size());
            if (count <= 0) break;
            received.insert(received.end(), buffer.begin(), buffer.begin() + count);
        }
        for (size_t sent = 0; sent < answer.size();) {
            const ssize_t count = ::write(ends[1], answer.data() + sent, answer.size() - sent);
            if (count <= 0) break;
            sent += static_cast<size_t>(count);
        }
        close(ends[1]);
    });
    KeptLog log;
    const auto input = std::make_shared<tarn::DescriptorInputStream>(ends[0]);
    const auto output = std::make_shared<tarn::DescriptorOutputStream>(ends[0]);
    tarn::TarnSocketHandler handler(request, output, input, log);
    tarn::runStreams(*input, *output, handler, [&] { return handler.finished() != 0; });
    peer.join();
    close(ends[0]);
    EXPECT_EQ(hexDump(received), hexDump(request));
    ASSERT_TRUE(handler.response());
    EXPECT_EQ(hexDump(*handler.response()), hexDump(answer));
    EXPECT_EQ(handler.finished(), 1);
    EXPECT_EQ(handler.error(), nullptr);
    EXPECT_EQ(log.entries.size(), 2U);
}

TEST(DescriptorStreams, AWriteToAClosedPeerIsAnErrorAndNoSignal) {
    int ends[2];
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, ends), 0);
    close(ends[1]);
    tarn::DescriptorOutputStream output(ends[0]);
    const uint8_t byte = 0;
    EXPECT_EQ(output.write(&byte, 1), -1);
    ASSERT_NE(output.streamError(), nullptr);
    EXPECT_EQ(output.streamError()->error().code, EPIPE);
    EXPECT_EQ(output.streamError()->error().description, "Broken pipe");
    close(ends[0]);
}

} // namespace
} // namespace kvxtest
