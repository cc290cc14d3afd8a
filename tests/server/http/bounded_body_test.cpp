// SPDX-License-Identifier: Apache-2.0
#include "http/bounded_body.h"

#include <gtest/gtest.h>

using namespace tarn::server;

namespace {

constexpr size_t kMegabyte = 1024 * 1024;

void add(BoundedBody& body, size_t count) {
    const std::string piece(1000, 'x');
    for (; count > piece.size(); count -= piece.size()) body.add(piece.data(), piece.size());
    body.add(piece.data(), count);
}

} // namespace

TEST(BoundedBody, KeepsItsBytesUpToItsBound) {
    BodyBudget budget(100 * kMegabyte);
    BoundedBody body(70'000, budget, 1);
    add(body, 70'000);
    EXPECT_EQ(body.state(), BoundedBody::State::kGood);
    EXPECT_EQ(body.bytes(), std::string(70'000, 'x'));
    EXPECT_EQ(budget.taken(), 70'000U);
    body.add("x", 1);
    EXPECT_EQ(body.state(), BoundedBody::State::kTooLarge);
    EXPECT_EQ(body.bytes(), "");
    EXPECT_EQ(budget.taken(), 0U);
    body.add("x", 1);
    EXPECT_EQ(body.bytes(), "");
}

TEST(BoundedBody, TakesLittleMoreThanItHas) {
    BodyBudget budget(100 * kMegabyte);
    BoundedBody body(24 * kMegabyte, budget, 1);
    for (size_t size = 0; size < 10 * kMegabyte; size += 100'000) {
        add(body, 100'000);
        EXPECT_GE(budget.taken(), body.bytes().size());
        EXPECT_LE(budget.taken(), body.bytes().size() * 3 / 2 + 64 * 1024);
    }
}

TEST(BoundedBody, LeavesOtherAccountsHalfOfAll) {
    BodyBudget budget(8 * kMegabyte);
    BoundedBody first(4 * kMegabyte, budget, 1);
    add(first, 4 * kMegabyte);
    EXPECT_EQ(first.state(), BoundedBody::State::kGood);
    BoundedBody more(kMegabyte, budget, 1);
    more.add("x", 1);
    EXPECT_EQ(more.state(), BoundedBody::State::kNoRoom);
    BoundedBody other(4 * kMegabyte, budget, 2);
    add(other, 4 * kMegabyte);
    EXPECT_EQ(other.state(), BoundedBody::State::kGood);
    BoundedBody third(kMegabyte, budget, 3);
    third.add("x", 1);
    EXPECT_EQ(third.state(), BoundedBody::State::kNoRoom) << "all of it is taken";
    first.drop();
    BoundedBody again(kMegabyte, budget, 1);
    again.add("x", 1);
    EXPECT_EQ(again.state(), BoundedBody::State::kGood);
}

TEST(BoundedBody, IsGivenBackAtItsEndAndNotCountedWithoutAccount) {
    BodyBudget budget(kMegabyte);
    {
        BoundedBody body(kMegabyte, budget, 1);
        add(body, 100'000);
        BoundedBody small(64 * 1024, budget, std::nullopt);
        const size_t before = budget.taken();
        add(small, 64 * 1024);
        EXPECT_EQ(small.bytes().size(), 64U * 1024);
        EXPECT_EQ(budget.taken(), before);
    }
    EXPECT_EQ(budget.taken(), 0U);
}
