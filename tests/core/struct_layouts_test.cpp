// SPDX-License-Identifier: Apache-2.0
#include "core/struct_layouts.h"

#include <gtest/gtest.h>

TEST(Structs, HaveTheirMembersInTheOrderThatProgramsAreCompiledWith) {
    size_t structs = 0;
    const MemberPlace* misplaced = misplacedMember(&structs);
    EXPECT_EQ(misplaced, nullptr) << misplaced->structure << "." << misplaced->member << " at " << misplaced->offset;
    EXPECT_EQ(structs, 20U);
}
