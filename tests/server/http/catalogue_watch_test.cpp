// SPDX-License-Identifier: Apache-2.0
#include "http/catalogue_watch.h"

#include "support/server/fake_catalogue.h"

#include <atomic>
#include <gtest/gtest.h>
#include <spdlog/sinks/ostream_sink.h>
#include <sstream>
#include <string>
#include <thread>

using namespace kvxtest;
using namespace tarn::server;

namespace {

class WatchTest : public testing::Test {
  protected:
    WatchTest() { log_.set_pattern("%l %v"); }

    // Waits for what is bound to happen; a test that waits in vain runs into its time-out.
    void awaitUp(bool up) const {
        while (watch.recordings().has_value() != up) std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    std::string logged() {
        watch.stop();
        return text_.str();
    }

    FakeCatalogue catalogue;

  private:
    std::ostringstream text_;
    spdlog::logger log_{"test", std::make_shared<spdlog::sinks::ostream_sink_mt>(text_)};

  protected:
    CatalogueWatch watch{catalogue, "some/place", log_};
};

const std::string kUp = "info catalogue: open, 42 recordings in some/place\n";
const std::string kDown =
    "error catalogue: gone; until some/place can be read, requests that need it are answered with 503\n";

} // namespace

using CatalogueWatchLog = WatchTest;

TEST_F(CatalogueWatchLog, HasALineForEachChangeWithItsReason) {
    std::atomic<bool> gone = true;
    std::atomic<int> looks = 0;
    catalogue.beforeCount = [&] {
        ++looks;
        if (gone) throw Unavailable("gone");
    };
    watch.start(std::chrono::seconds(60));
    EXPECT_FALSE(watch.recordings().has_value());
    while (looks < 2) std::this_thread::sleep_for(std::chrono::milliseconds(1)); // no change: no line
    gone = false;
    awaitUp(true);
    EXPECT_EQ(watch.recordings(), 42U);
    gone = true;
    awaitUp(false);
    EXPECT_EQ(logged(), kDown + kUp + kDown);
}

TEST_F(CatalogueWatchLog, SaysThatMemoryIsShortInWords) {
    catalogue.beforeCount = [] { throw std::bad_alloc(); };
    watch.start(std::chrono::seconds(60));
    EXPECT_EQ(logged().find("error catalogue: there is not enough memory; until"), 0U);
}

TEST_F(CatalogueWatchLog, SaysAtOnceWhyARequestFailed) {
    watch.start(std::chrono::seconds(60));
    watch.noteFailure("gone");
    watch.noteFailure("gone again");
    EXPECT_EQ(logged().substr(0, kUp.size() + kDown.size()), kUp + kDown);
    EXPECT_EQ(watch.recordings(), 42U) << "only a look decides";
}

TEST_F(CatalogueWatchLog, BeginsWithTheStateThatIsFoundFirst) {
    watch.start(std::chrono::seconds(60));
    EXPECT_EQ(logged(), kUp);
}
