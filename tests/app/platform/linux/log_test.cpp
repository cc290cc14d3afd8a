// SPDX-License-Identifier: Apache-2.0
// The form of a log line.
#include "platform/linux/descriptor_output.h"
#include "platform/linux/line_log.h"
#include "support/scripted_services.h"

#include <cerrno>
#include <cstdlib>
#include <ctime>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <stdexcept>
#include <sys/ioctl.h>
#include <thread>
#include <unistd.h>

namespace kvxtest {
namespace {

// The local time zone, for as long as one lives.
class TimeZone {
  public:
    explicit TimeZone(const char* name) {
        if (const char* before = std::getenv("TZ")) before_ = before;
        setenv("TZ", name, 1);
        tzset();
    }
    ~TimeZone() {
        if (before_) {
            setenv("TZ", before_->c_str(), 1);
        } else {
            unsetenv("TZ");
        }
        tzset();
    }
    TimeZone(const TimeZone&) = delete;
    TimeZone& operator=(const TimeZone&) = delete;

  private:
    std::optional<std::string> before_;
};

std::string tag() { return " tarn[" + std::to_string(getpid()) + ":" + std::to_string(gettid()) + "] "; }

TEST(LineLog, LeadsEachEntryWithLocalTimeProcessAndThread) {
    KeptOutput output;
    FixedClock clock;
    clock.sinceEpoch = std::chrono::milliseconds(1'795'198'226'123); // 2026-11-20 18:10:26.123 UTC
    tarn::LineLog log(output, clock);
    {
        const TimeZone utc("UTC0");
        log.write("text");
    }
    {
        const TimeZone east("XST-2:30");
        log.write("text");
    }
    EXPECT_EQ(output.writes, (std::vector<std::string>{"2026-11-20 18:10:26.123" + tag() + "text\n",
                                                       "2026-11-20 20:40:26.123" + tag() + "text\n"}));
}

TEST(LineLog, ShowsThreeDigitsOfMilliseconds) {
    KeptOutput output;
    FixedClock clock;
    const TimeZone utc("UTC0");
    clock.sinceEpoch = std::chrono::milliseconds(7);
    tarn::LineLog(output, clock).write("");
    EXPECT_EQ(output.writes.at(0), "1970-01-01 00:00:00.007" + tag() + "\n");
}

TEST(LineLog, EndsAnEntryWithExactlyOneLineFeed) {
    KeptOutput output;
    FixedClock clock;
    tarn::LineLog log(output, clock);
    log.write("one");
    log.write("two\n");
    log.write("first\nsecond\n");
    log.write({"in ", "pieces"});
    log.write({"ended by ", "a piece", "\n"});
    log.write({"ended before an empty piece\n", ""});
    ASSERT_EQ(output.writes.size(), 6U); // each entry is written at once
    const auto text = [&](size_t i) { return output.writes[i].substr(output.writes[i].find("] ") + 2); };
    EXPECT_EQ(text(0), "one\n");
    EXPECT_EQ(text(1), "two\n");
    EXPECT_EQ(text(2), "first\nsecond\n");
    EXPECT_EQ(text(3), "in pieces\n");
    EXPECT_EQ(text(4), "ended by a piece\n");
    EXPECT_EQ(text(5), "ended before an empty piece\n");
}

// A pipe that is closed with the test.
struct TestPipe {
    explicit TestPipe(int writeFlags = 0) {
        if (pipe2(ends, O_CLOEXEC) != 0 || fcntl(ends[1], F_SETFL, writeFlags) != 0)
            throw std::runtime_error("no pipe");
    }
    ~TestPipe() {
        closeReader();
        closeWriter();
    }
    TestPipe(const TestPipe&) = delete;
    TestPipe& operator=(const TestPipe&) = delete;
    void closeReader() { closeEnd(ends[0]); }
    void closeWriter() { closeEnd(ends[1]); }
    static void closeEnd(int& end) {
        if (end >= 0) close(end);
        end = -1;
    }
    int waiting() const {
        int count = 0;
        ioctl(ends[0], FIONREAD, &count);
        return count;
    }
    std::string readToEnd() const {
        std::string all;
        char buffer[4096];
        for (ssize_t count = 0; (count = read(ends[0], buffer, sizeof buffer)) > 0;) {
            all.append(buffer, static_cast<size_t>(count));
        }
        return all;
    }
    int ends[2];
};

TEST(DescriptorOutput, WritesTheWholeTextInOnePiece) {
    TestPipe pipe(O_NONBLOCK);
    tarn::DescriptorOutput output(pipe.ends[1]);
    output.write({"one ", "", "two ", "three"});
    EXPECT_EQ(pipe.waiting(), 13);
    pipe.closeWriter();
    EXPECT_EQ(pipe.readToEnd(), "one two three");
    EXPECT_EQ(output.error(), 0);
}

TEST(DescriptorOutput, WaitsForSpaceWhereANonBlockingDescriptorIsFull) {
    const std::string first(100'000, 'a');
    const std::string second(200'000, 'b');
    TestPipe pipe(O_NONBLOCK);
    const int capacity = fcntl(pipe.ends[1], F_GETPIPE_SZ);
    ASSERT_LT(static_cast<size_t>(capacity), first.size());
    tarn::DescriptorOutput output(pipe.ends[1]);
    std::thread writer([&] {
        output.write({first, second});
        pipe.closeWriter();
    });
    while (pipe.waiting() < capacity) std::this_thread::yield(); // nothing is read before the pipe is full
    EXPECT_EQ(pipe.readToEnd(), first + second);
    writer.join();
    EXPECT_EQ(output.error(), 0);
}

TEST(DescriptorOutput, KeepsTheFirstFailure) {
    const int full = open("/dev/full", O_WRONLY | O_CLOEXEC);
    ASSERT_GE(full, 0);
    tarn::DescriptorOutput output(full);
    EXPECT_EQ(output.error(), 0);
    output.write("text");
    EXPECT_EQ(output.error(), ENOSPC);
    close(full);
    output.write("text");
    EXPECT_EQ(output.error(), ENOSPC);
}

} // namespace
} // namespace kvxtest
