// SPDX-License-Identifier: Apache-2.0
// A value of the cache, as a damaged file or a hand may leave it.
//
// Holds: it is taken for nothing, or is a whole result, which is read the same when it is written again.
#include "recognise/json/answer_json.h"

#include "fuzz_target.h"

#include <string>

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace tarn::recognise;
    const std::string text(reinterpret_cast<const char*>(data), size);
    if (const auto result = resultFrom(text)) {
        REQUIRE(result->status != FileStatus::kError);
        REQUIRE(result->answer.matches.empty() == (result->status == FileStatus::kUnknown));
        const std::string written = tarn::server::lineOf(toJson(*result));
        const auto again = resultFrom(written);
        REQUIRE(again.has_value());
        REQUIRE(tarn::server::lineOf(toJson(*again)) == written);
    }
    if (const auto answer = answerFrom(text)) {
        const std::string written = tarn::server::lineOf(toJson(*answer));
        const auto again = answerFrom(written);
        REQUIRE(again.has_value());
        REQUIRE(tarn::server::lineOf(toJson(*again)) == written);
    }
    return 0;
}
