// SPDX-License-Identifier: Apache-2.0
// What a request builder of the library gave: its status, and a copy of its bytes.
#pragma once

#include "support/hex.h"

#include <cstdint>
#include <gtest/gtest.h>

namespace kvxtest {

constexpr int32_t kEnglish = 0x656e;

struct BuiltRequest {
    int32_t status = 0;
    Bytes bytes;
};

// build(&buffer, &length) makes the request, and release(&buffer) frees it.
template <class Build, class Release>
BuiltRequest builtRequest(Build build, Release release) {
    uint8_t* buffer = nullptr;
    uint32_t length = 0;
    BuiltRequest result;
    result.status = build(&buffer, &length);
    if (buffer != nullptr) result.bytes.assign(buffer, buffer + length);
    EXPECT_EQ(release(&buffer), 0);
    EXPECT_EQ(buffer, nullptr);
    return result;
}

} // namespace kvxtest
