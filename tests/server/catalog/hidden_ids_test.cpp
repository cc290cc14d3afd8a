// SPDX-License-Identifier: Apache-2.0
#include "catalog/hidden_ids.h"

#include <gtest/gtest.h>

using namespace tarn::server;

TEST(HiddenIds, ComeBackWhole) {
    for (const HiddenIds& ids : {HiddenIds{}, HiddenIds{1}, HiddenIds{3, 4, 200, 20'000, 4'294'967'295}}) {
        HiddenIds back;
        takeHiddenIds(packHiddenIds(ids), back);
        EXPECT_EQ(back, ids);
    }
    EXPECT_EQ(packHiddenIds({3, 4, 300}), std::string("\x03\x01\xa8\x02", 4)); // 3, one more, 296 = 0x28 + 2 * 128 more
}

TEST(HiddenIds, AreAddedToThoseThatAreThere) {
    HiddenIds ids = {2, 9};
    takeHiddenIds(packHiddenIds({1, 9, 12}), ids);
    EXPECT_EQ(ids, (HiddenIds{1, 2, 9, 12}));
}

TEST(HiddenIds, AreRefusedWhenDamaged) {
    for (const std::string& bytes : {std::string("\x80", 1), std::string("\x00", 1), std::string("\x05\x00", 2),
                                     std::string("\xff\xff\xff\xff\x0f\x01", 6)}) {
        HiddenIds ids;
        EXPECT_THROW(takeHiddenIds(bytes, ids), Xapian::DatabaseCorruptError) << bytes.size();
    }
}
