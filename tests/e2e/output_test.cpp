// SPDX-License-Identifier: Apache-2.0
// Where the tool's output goes, and what becomes of a run whose output goes nowhere.
#include "e2e/tool.h"
#include "support/answers.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/ioctl.h>
#include <thread>
#include <unistd.h>

namespace kvxtest {
namespace {

// A server that knows a track of this title and no album.
std::vector<Script> knowing(const std::string& title) {
    return {answering(httpAnswer(200, record('T', trackBlob({}, title, {}))))};
}

std::string reportOf(const std::string& title) {
    return "<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\n<match>\n<title>" + title + "</title>\n</match>\n";
}

// Closed when it goes.
class Descriptor {
  public:
    explicit Descriptor(int number) : number_(number) { EXPECT_GE(number, 0); }
    ~Descriptor() { closeNow(); }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    int number() const { return number_; }
    void closeNow() {
        if (number_ >= 0) close(number_);
        number_ = -1;
    }

  private:
    int number_;
};

struct Pipe {
    explicit Pipe(int flags = 0) : Pipe(made(flags)) {}
    Descriptor reader;
    Descriptor writer;

  private:
    struct Ends {
        int numbers[2];
    };
    explicit Pipe(Ends ends) : reader(ends.numbers[0]), writer(ends.numbers[1]) {}
    static Ends made(int flags) {
        Ends ends = {{-1, -1}};
        EXPECT_EQ(pipe2(ends.numbers, O_CLOEXEC | flags), 0);
        return ends;
    }
};

Descriptor scratchDescriptor(const std::string& path) {
    return Descriptor(open(path.c_str(), O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0600));
}

std::string lastTextIn(const std::string& path) {
    const Bytes bytes = readFile(path);
    return logTexts({bytes.begin(), bytes.end()}).back();
}

int statusOfRun(const std::string& host, int output, int errors) {
    return Process(toolWords({freshKey(), host, soundFile()}), {output, errors}).wait();
}

TEST(Output, ArrivesWholeOnANonBlockingPipeThatIsReadLate) {
    const std::string title(300'000, 'x');
    const LoopbackServer server(knowing(title));
    Pipe output(O_NONBLOCK);
    const Descriptor errors = scratchDescriptor(scratchFile("errors"));
    Process tool(toolWords({freshKey(), server.host(), soundFile()}), {output.writer.number(), errors.number()});
    output.writer.closeNow();
    const int capacity = fcntl(output.reader.number(), F_GETPIPE_SZ);
    for (int waiting = 0; waiting < capacity;) { // nothing is read before the pipe is full
        ioctl(output.reader.number(), FIONREAD, &waiting);
        std::this_thread::yield();
    }
    fcntl(output.reader.number(), F_SETFL, 0);
    std::string report;
    char buffer[4096];
    for (ssize_t count = 0; (count = read(output.reader.number(), buffer, sizeof buffer)) > 0;) {
        report.append(buffer, static_cast<size_t>(count));
    }
    EXPECT_EQ(tool.wait(), 0);
    EXPECT_TRUE(report == reportOf(title)) << report.size();
}

TEST(Output, ThatCannotBeWrittenEndsTheRunWith249AndALine) {
    const std::string path = scratchFile("errors");
    {
        const LoopbackServer server(knowing("Title"));
        const Descriptor full(open("/dev/full", O_WRONLY | O_CLOEXEC));
        const Descriptor errors = scratchDescriptor(path);
        EXPECT_EQ(statusOfRun(server.host(), full.number(), errors.number()), 249);
        EXPECT_EQ(lastTextIn(path), "Error Writing Standard Output 28 - No space left on device");
    }
    {
        const LoopbackServer server(knowing("Title"));
        Pipe output;
        output.reader.closeNow();
        const Descriptor errors = scratchDescriptor(path);
        EXPECT_EQ(statusOfRun(server.host(), output.writer.number(), errors.number()), 249);
        EXPECT_EQ(lastTextIn(path), "Error Writing Standard Output 32 - Broken pipe");
    }
}

TEST(Output, ALogThatNobodyReadsDoesNotEndTheRun) {
    const LoopbackServer server(knowing("Title"));
    const std::string path = scratchFile("output");
    const Descriptor output = scratchDescriptor(path);
    Pipe errors;
    errors.reader.closeNow();
    EXPECT_EQ(statusOfRun(server.host(), output.number(), errors.writer.number()), 0);
    const Bytes report = readFile(path);
    EXPECT_EQ(std::string(report.begin(), report.end()), reportOf("Title"));
}

} // namespace
} // namespace kvxtest
