// SPDX-License-Identifier: Apache-2.0
#include "model/access_code.h"

#include "support/handles.h"

#include <gtest/gtest.h>

using namespace tarn::server;

namespace {

const std::string kKey = "0123456789abcdef0123456789ABCDEF";

} // namespace

TEST(AccessCode, IsWhatTheLibraryReads) {
    kvxtest::SecretKey secret;
    std::copy(kKey.begin(), kKey.end(), secret.begin());
    EXPECT_EQ(makeAccessCode(0x04030201, 2, 3, kKey), kvxtest::accessCode(2, 3, secret, 0x04030201));
    const std::string made = makeAccessCode(0xfedcba98, 1, 2, kKey);
    EXPECT_EQ(accountIdOf(made), 0xfedcba98);
    EXPECT_EQ(encryptionMethodOf(made), 1);
    EXPECT_EQ(checksumMethodOf(made), 2);
}

TEST(AccessCode, HasUpperCaseDigitsAlone) {
    const std::string code = makeAccessCode(7, 3, 3, kKey);
    EXPECT_TRUE(isAccessCode(code));
    EXPECT_FALSE(isAccessCode(code.substr(1)));
    EXPECT_FALSE(isAccessCode(code + "0"));
    EXPECT_FALSE(isAccessCode(code.substr(1) + "a"));
}

TEST(AccessCode, ThatIsNoneHasZerosForParts) {
    for (const std::string& text : {std::string(), std::string("0700000003000300"), std::string(80, 'x')}) {
        EXPECT_EQ(accountIdOf(text), 0U) << text;
        EXPECT_EQ(encryptionMethodOf(text), 0) << text;
        EXPECT_EQ(checksumMethodOf(text), 0) << text;
    }
}
