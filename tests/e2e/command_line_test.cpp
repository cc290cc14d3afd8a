// SPDX-License-Identifier: Apache-2.0
// Access keys that the tool takes. What else it says to a command line is in tests/cases/tarn.
#include "e2e/tool.h"
#include "support/access_keys.h"
#include "support/handles.h"

#include <cctype>
#include <ctime>
#include <gtest/gtest.h>

namespace kvxtest {
namespace {

using Texts = std::vector<std::string>;

TEST(CommandLine, TakesTheKeyThatItEncoded) {
    const std::string raw = std::to_string(std::time(nullptr)) + ":" + accessCode(3, 3);
    const Texts log = logTexts(runTool({"-e", raw}).err);
    const std::string lead = "Encoded Key ";
    ASSERT_EQ(log.size(), 2U);
    ASSERT_EQ(log[1].substr(0, lead.size()), lead);
    const Ended result = runTool({log[1].substr(lead.size()), "h", "/nowhere"});
    EXPECT_EQ(result.status, 253); // past the key: it is the file that is missing
}

TEST(CommandLine, TakesGoodKeysOfEveryForm) {
    const std::string code = accessCode(3, 3);
    const std::string ahead = std::to_string(std::time(nullptr) + 3600);
    std::string lowered = freshKey();
    for (char& c : lowered) c = static_cast<char>(std::tolower(c));
    const std::string odd = freshKey() + "f";
    const std::string inAnHour = ahead + ":" + code;
    const std::string oneShort = inAnHour.substr(0, inAnHour.size() - 1);
    for (const std::string& key :
         {freshKey(), lowered, odd, accessKeyOf(code), accessKeyOf(inAnHour), accessKeyOf(oneShort)}) {
        SCOPED_TRACE(key);
        EXPECT_EQ(runTool({key, "h", "/nowhere"}).status, 253);
    }
}

} // namespace
} // namespace kvxtest
