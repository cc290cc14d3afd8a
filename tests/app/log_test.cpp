// The form of a log line.
#include "app/scripted_services.h"
#include "platform/linux/DescriptorOutput.h"
#include "platform/linux/LineLog.h"

#include <cstdlib>
#include <ctime>
#include <gtest/gtest.h>
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

TEST(DescriptorOutput, WritesTheWholeText) {
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    const std::string text(5000, 'x');
    tarn::DescriptorOutput(ends[1]).write({text, "", "y"});
    close(ends[1]);
    std::string read(6000, '\0');
    EXPECT_EQ(::read(ends[0], read.data(), read.size()), 5001);
    EXPECT_EQ(read.substr(0, 5001), text + "y");
    close(ends[0]);
}

} // namespace
} // namespace kvxtest
