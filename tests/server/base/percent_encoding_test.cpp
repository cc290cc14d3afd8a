// SPDX-License-Identifier: Apache-2.0
#include "base/percent_encoding.h"

#include <gtest/gtest.h>

using namespace tarn::server;

TEST(PercentEncoding, GivesTheBytesOrNothing) {
    const struct {
        std::string text;
        std::optional<std::string> bytes;
    } cases[] = {
        {"", ""},
        {"T-0123456789abcdef", "T-0123456789abcdef"},
        {"%54%2d0", "T-0"},
        {"a%2Fb%2fc", "a/b/c"},
        {"%00x", std::string("\0x", 2)},
        {"%ff", "\xff"},
        {"%25%32%35", "%25"},
        {"a+b", "a+b"},
        {"%", std::nullopt},
        {"%4", std::nullopt},
        {"x%4", std::nullopt},
        {"%4g", std::nullopt},
        {"%%41", std::nullopt},
        {"% 1", std::nullopt},
        {"%+1", std::nullopt},
    };
    for (const auto& c : cases) EXPECT_EQ(percentDecoded(c.text), c.bytes) << c.text;
}
