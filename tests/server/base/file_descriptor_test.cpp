// SPDX-License-Identifier: Apache-2.0
#include "base/file_descriptor.h"

#include <gtest/gtest.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <stdexcept>
#include <thread>
#include <unistd.h>

using namespace tarn::server;

namespace {

struct Pipe {
    Pipe() {
        std::array<int, 2> ends{};
        EXPECT_EQ(pipe2(ends.data(), O_CLOEXEC), 0);
        out = FileDescriptor(ends[0]);
        in = FileDescriptor(ends[1]);
    }
    FileDescriptor out;
    FileDescriptor in;
};

bool isOpenInSystem(int descriptor) { return fcntl(descriptor, F_GETFD) != -1; }

} // namespace

TEST(FileDescriptor, ClosesItselfOnce) {
    Pipe pipe;
    const int number = pipe.in.get();
    {
        const FileDescriptor taken = std::move(pipe.in);
        EXPECT_FALSE(pipe.in.isOpen()); // NOLINT(bugprone-use-after-move): that is the question
        EXPECT_TRUE(isOpenInSystem(number));
    }
    EXPECT_FALSE(isOpenInSystem(number));
}

TEST(FileDescriptor, ThatIsReplacedIsClosed) {
    Pipe pipe;
    const int number = pipe.in.get();
    pipe.in = FileDescriptor();
    EXPECT_FALSE(isOpenInSystem(number));
}

TEST(WriteAll, WaitsForTheReaderOfADescriptorThatDoesNotBlock) {
    Pipe pipe;
    ASSERT_EQ(fcntl(pipe.in.get(), F_SETFL, O_NONBLOCK), 0);
    const std::string sent(1'000'000, 'a'); // more than a pipe holds
    std::string received;
    std::thread reader([&] { received = readWhole(pipe.out, "pipe"); });
    EXPECT_EQ(writeAll(pipe.in.get(), sent), 0);
    pipe.in = FileDescriptor();
    reader.join();
    EXPECT_EQ(received, sent);
}

TEST(WriteAll, ReturnsTheErrorOfAReaderThatHasGone) {
    const auto before = std::signal(SIGPIPE, SIG_IGN);
    Pipe pipe;
    pipe.out = FileDescriptor();
    EXPECT_EQ(writeAll(pipe.in.get(), "lost"), EPIPE);
    try {
        writeWhole(pipe.in, "lost", "some/file");
        ADD_FAILURE() << "written";
    } catch (const std::runtime_error& error) {
        EXPECT_STREQ(error.what(), "some/file: cannot be written: Broken pipe");
    }
    std::signal(SIGPIPE, before);
}
