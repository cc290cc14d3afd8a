// SPDX-License-Identifier: Apache-2.0
// The header Tarn-Match, as a server or a proxy may send it.
//
// Holds: ids are of plain letters; written again, what was understood is understood the same.
#include "protocol/match_place.h"

#include "fuzz_target.h"

#include <string>

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace tarn::server;
    const MatchPlace place = readMatchHeader({reinterpret_cast<const char*>(data), size});
    for (const std::string& id : place.companions) {
        REQUIRE(!id.empty() && id.size() <= 64);
        REQUIRE(id.find_first_of(" ,;=\r\n") == std::string::npos);
    }
    Match match;
    match.offsetMs = place.offsetMs.value_or(0);
    match.durationMs = place.durationMs.value_or(0);
    match.companions = place.companions;
    const MatchPlace again = readMatchHeader(matchHeader(match));
    REQUIRE(again.offsetMs == match.offsetMs && again.durationMs == match.durationMs);
    REQUIRE(again.companions == place.companions);
    return 0;
}
