// SPDX-License-Identifier: Apache-2.0
// The search for the body after an HTTP header, from several starts.
//
// Holds: the result is what a plain search gives.
#include "fuzz_target.h"
#include "kvx.h"
#include "support/guarded_bytes.h"

#include <string_view>

namespace {

void find(const kvxtest::GuardedBytes& answer, uint32_t start) {
    const auto length = static_cast<uint32_t>(answer.size());
    const uint32_t found = KVXFindHTTPData(answer.data(), start, length);
    if (start + 3 >= length) {
        REQUIRE(found == start + 4);
        return;
    }
    const std::string_view text(reinterpret_cast<const char*>(answer.data()), answer.size());
    const size_t at = text.find("\r\n\r\n", start);
    REQUIRE(found == (at == std::string_view::npos ? length + 1 : at + 4));
}

} // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const kvxtest::GuardedBytes answer(std::span(data, size));
    const auto length = static_cast<uint32_t>(size);
    for (const uint32_t start : {0U, 1U, length / 2, length, length + 7}) find(answer, start);
    return 0;
}
