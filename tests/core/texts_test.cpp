// SPDX-License-Identifier: Apache-2.0
#include "kvx.h"

#include <gtest/gtest.h>

TEST(SafeStrlen, CountsToTheZeroAndGivesZeroForNull) {
    EXPECT_EQ(safe_strlen(nullptr), 0U);
    EXPECT_EQ(safe_strlen(""), 0U);
    EXPECT_EQ(safe_strlen("abc\0def"), 3U);
}
