// SPDX-License-Identifier: Apache-2.0
#include "base/digest.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

using tarn::server::Digest;

// The published vector of SHA-256 for "abc".
constexpr const char* kAbc = "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad";

TEST(Digest, IsSha256InHexadecimal) {
    Digest hash;
    hash.add(std::string_view("abc"));
    EXPECT_EQ(hash.hexadecimal(), kAbc);
    hash.add(std::string_view("a"));
    hash.add(std::string_view("bc"));
    EXPECT_EQ(hash.hexadecimal(), kAbc) << "it starts anew";
    hash.add(std::string_view("abc"));
    EXPECT_EQ(hash.bytes().substr(0, 3), "\xba\x78\x16");
}

TEST(Digest, TakesSamplesAsLittleEndianBytes) {
    Digest hash;
    const std::vector<int16_t> samples = {0x0201, -2};
    hash.add(samples);
    const std::string fromSamples = hash.hexadecimal();
    hash.add(std::string_view("\x01\x02\xFE\xFF", 4));
    EXPECT_EQ(fromSamples, hash.hexadecimal());
}

} // namespace
