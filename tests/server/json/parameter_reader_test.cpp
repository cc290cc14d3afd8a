// SPDX-License-Identifier: Apache-2.0
#include "json/parameter_reader.h"

#include <gtest/gtest.h>

using namespace tarn::server;

TEST(ParameterReader, TakesWholeNumbersInTheirRange) {
    const struct {
        const char* value;
        std::optional<uint32_t> number; // nothing: refused
    } cases[] = {
        {"1", 1},
        {"100", 100},
        {"007", 7},
        {"0", std::nullopt},
        {"101", std::nullopt},
        {"-1", std::nullopt},
        {"+1", std::nullopt},
        {"1.5", std::nullopt},
        {"", std::nullopt},
        {" 1", std::nullopt},
        {"1 ", std::nullopt},
        {"0x1", std::nullopt},
        {"4294967297", std::nullopt},
        {"99999999999999999999", std::nullopt},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.value);
        const Parameters parameters = {{"limit", c.value}};
        const ParameterReader reader(parameters, {"limit"});
        if (c.number) {
            EXPECT_EQ(reader.number("limit", 1, 100), c.number);
        } else {
            EXPECT_THROW(reader.number("limit", 1, 100), BadJsonRequest);
        }
    }
}

TEST(ParameterReader, RefusesWhatIsUnknownOrComesTwice) {
    const Parameters parameters = {{"a", "1"}, {"b", "x"}};
    const ParameterReader reader(parameters, {"a", "b", "c"});
    EXPECT_EQ(*reader.text("b"), "x");
    EXPECT_EQ(reader.text("c"), nullptr);
    EXPECT_EQ(reader.number("c", 0, 9), std::nullopt);
    EXPECT_THROW(ParameterReader(parameters, {"a"}), BadJsonRequest);
    EXPECT_THROW(ParameterReader(parameters, {}), BadJsonRequest);
    const Parameters twice = {{"a", "1"}, {"a", "1"}};
    EXPECT_THROW(ParameterReader(twice, {"a"}), BadJsonRequest);
}
