// SPDX-License-Identifier: Apache-2.0
#include "json/bearer.h"

#include "support/handles.h"

#include <gtest/gtest.h>

using namespace tarn::server;

TEST(Bearer, IsTheAccountWhoseWholeCodeItShows) {
    const std::string code = kvxtest::accessCode(3, 3, {0xab, 2, 3});
    const std::string unknown = kvxtest::accessCode(3, 3, {0xab, 2, 3}, 77);
    constexpr uint32_t kAccount = 0x04030201;
    size_t asked = 0;
    const RequestHandler::CodeFinder accounts = [&](uint32_t id) -> std::optional<std::string> {
        ++asked;
        return id == kAccount ? std::optional(code) : std::nullopt;
    };
    std::string lower = code;
    for (char& c : lower) c = static_cast<char>(std::tolower(c));
    std::string otherEnd = code;
    otherEnd.back() = otherEnd.back() == '0' ? '1' : '0';
    const struct {
        const char* name;
        std::string header;
        bool good;
    } cases[] = {
        {"good", "Bearer " + code, true},
        {"scheme in lower case", "bearer " + code, true},
        {"nothing", "", false},
        {"the scheme alone", "Bearer ", false},
        {"no scheme", code, false},
        {"another scheme", "Basic " + code, false},
        {"two blanks", "Bearer  " + code, false},
        {"a blank after it", "Bearer " + code + " ", false},
        {"digits in lower case", "Bearer " + lower, false},
        {"another last digit", "Bearer " + otherEnd, false},
        {"cut off", "Bearer " + code.substr(0, 79), false},
        {"longer", "Bearer " + code + "0", false},
        {"no digits", "Bearer " + std::string(80, '+'), false},
        {"no digits either", "Bearer " + std::string(80, '-'), false},
        {"an unknown account", "Bearer " + unknown, false},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        asked = 0;
        EXPECT_EQ(accountOfBearer(c.header, accounts), c.good ? std::optional(kAccount) : std::nullopt);
        EXPECT_EQ(asked, 1U) << "the same work for every header";
    }
}
