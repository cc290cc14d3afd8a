// SPDX-License-Identifier: Apache-2.0
#include "protocol/match_place.h"

#include <gmock/gmock.h>

namespace {

using namespace tarn::server;
using testing::ElementsAre;
using testing::IsEmpty;

TEST(MatchHeader, SaysWhatTheRecordsHaveNoPlaceFor) {
    Match match;
    match.offsetMs = 13955;
    match.durationMs = 183000;
    EXPECT_EQ(matchHeader(match), "offset-ms=13955; duration-ms=183000");
    match.companions = {"T-0123456789abcdef"};
    EXPECT_EQ(matchHeader(match), "offset-ms=13955; duration-ms=183000; companions=T-0123456789abcdef");
    match.companions = {"T-1", "no id\r\nSet-Cookie: x", "", "T-2", std::string(65, 'a')};
    EXPECT_EQ(matchHeader(match), "offset-ms=13955; duration-ms=183000; companions=T-1,T-2");
}

TEST(MatchHeader, IsReadAsItWasWritten) {
    Match match;
    match.offsetMs = 4294967295U;
    match.durationMs = 0;
    match.companions = {"T-1", "T-2"};
    const MatchPlace place = readMatchHeader(matchHeader(match));
    EXPECT_EQ(place.offsetMs, 4294967295U);
    EXPECT_EQ(place.durationMs, 0U);
    EXPECT_THAT(place.companions, ElementsAre("T-1", "T-2"));
}

TEST(MatchHeader, LeavesOutWhatIsNotUnderstood) {
    const MatchPlace some = readMatchHeader("new=1;offset-ms=12 ;duration-ms=-5; companions=,a b,T-3, T-4 ;=;");
    EXPECT_EQ(some.offsetMs, 12U);
    EXPECT_FALSE(some.durationMs.has_value());
    EXPECT_THAT(some.companions, ElementsAre("T-3"));
    for (const char* text : {"", ";", "=", "offset-ms", "offset-ms=", "offset-ms=99999999999", "offset-ms=0x10"}) {
        EXPECT_FALSE(readMatchHeader(text).offsetMs.has_value()) << text;
    }
    EXPECT_THAT(readMatchHeader("companions").companions, IsEmpty());
}

} // namespace
