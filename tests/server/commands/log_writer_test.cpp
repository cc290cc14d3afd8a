// SPDX-License-Identifier: Apache-2.0
// The log's writer with readers that read, that stop and that went.
#include "commands/log_writer.h"

#include "base/file_descriptor.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <memory>
#include <spdlog/logger.h>
#include <string>
#include <unistd.h>

namespace tarn::server {
namespace {

constexpr auto kPatience = std::chrono::minutes(1);
constexpr auto kNoPatience = std::chrono::milliseconds(10);

class LogWriterTest : public testing::Test {
  protected:
    void SetUp() override {
        ASSERT_NE(signal(SIGPIPE, SIG_IGN), SIG_ERR);
        std::array<int, 2> ends{};
        ASSERT_EQ(pipe(ends.data()), 0);
        reading_ = FileDescriptor(ends[0]);
        writing_ = FileDescriptor(ends[1]);
    }

    std::shared_ptr<spdlog::logger> log(std::chrono::milliseconds lastLines, size_t mostWaiting = 8192) {
        auto log = std::make_shared<spdlog::logger>(
            "test", std::make_shared<LogWriter>(writing_.get(), mostWaiting, lastLines));
        log->set_pattern("%v");
        return log;
    }

    // What the pipe holds; waits only where it is empty and may be waited for.
    std::string written() {
        std::string text(1 << 20, '\0');
        const ssize_t got = read(reading_.get(), text.data(), text.size());
        text.resize(got > 0 ? static_cast<size_t>(got) : 0);
        return text;
    }

    FileDescriptor reading_;
    FileDescriptor writing_;
};

// The thread that writes is rarely done by itself when the line is logged.
TEST_F(LogWriterTest, HasWrittenEachLineAfterAFlush) {
    const auto log = this->log(kPatience);
    ASSERT_EQ(fcntl(reading_.get(), F_SETFL, O_NONBLOCK), 0);
    for (int line = 0; line < 500; ++line) {
        log->info("line {}", line);
        log->flush();
        ASSERT_EQ(written(), "line " + std::to_string(line) + "\n");
    }
}

TEST_F(LogWriterTest, WritesLinesInOrder) {
    const auto log = this->log(kPatience);
    std::string expected;
    for (int line = 0; line < 1000; ++line) {
        log->info("line {}", line);
        expected += "line " + std::to_string(line) + "\n";
    }
    log->flush();
    EXPECT_EQ(written(), expected);
}

TEST_F(LogWriterTest, WritesTheLastLinesAtItsEnd) {
    log(kPatience)->info("last");
    EXPECT_EQ(written(), "last\n");
}

TEST_F(LogWriterTest, FlushesAndEndsThoughNobodyReads) {
    const std::string line(1 << 20, 'x'); // more than the pipe takes
    {
        const auto log = this->log(kNoPatience);
        log->info(line);
        log->flush();
    }
    // The thread that hung goes on as soon as somebody reads.
    size_t read = 0;
    while (read < line.size() + 1) read += written().size();
    EXPECT_EQ(read, line.size() + 1);
}

TEST_F(LogWriterTest, OutlivesItsReader) {
    const auto log = this->log(kPatience);
    reading_ = FileDescriptor();
    log->info("lost");
    log->flush();
    log->info("lost too");
    log->flush();
    EXPECT_EQ(write(writing_.get(), "x", 1), -1);
    EXPECT_EQ(errno, EPIPE);
}

} // namespace
} // namespace tarn::server
