// SPDX-License-Identifier: Apache-2.0
#include "matching/duplicate_groups.h"

#include <gtest/gtest.h>
#include <string>
#include <utility>

namespace {

using tarn::server::DuplicateGroup;
using tarn::server::Relations;

struct Part {
    uint32_t part;
    uint32_t whole;
    uint32_t startMs;
};

struct Case {
    const char* name;
    std::vector<std::pair<uint32_t, uint32_t>> copies;
    std::vector<Part> parts;
    std::vector<DuplicateGroup> groups;
};

// A recording with the number n lasts n minutes.
const std::vector<Case> kCases = {
    {"nothing", {}, {}, {}},
    {"two copies", {{4, 2}}, {}, {{{2, 4}, {}}}},
    {"copies of copies", {{1, 9}, {9, 5}, {4, 5}, {2, 3}}, {}, {{{1, 4, 5, 9}, {}}, {{2, 3}, {}}}},
    {"an excerpt alone", {}, {{1, 7, 500}}, {{{7}, {{1, 500}}}}},
    {"an excerpt and its copy", {{1, 3}}, {{3, 7, 500}}, {{{7}, {{1, 500}, {3, 500}}}}},
    {"an excerpt of one copy", {{7, 8}}, {{1, 8, 500}}, {{{7, 8}, {{1, 500}}}}},
    {"an excerpt of an excerpt", {}, {{1, 4, 30}, {4, 9, 500}}, {{{9}, {{4, 500}, {1, 530}}}}},
    {"an excerpt of two does not join them", {}, {{1, 5, 10}, {1, 9, 20}}, {{{5}, {{1, 10}}}, {{9}, {{1, 20}}}}},
    {"the same excerpt found twice", {{1, 2}}, {{1, 9, 20}, {2, 9, 21}}, {{{9}, {{1, 20}, {2, 20}}}}},
    {"a part of its own copy is a copy", {{1, 2}, {2, 3}}, {{1, 3, 20}}, {{{1, 2, 3}, {}}}},
    {"in a circle the longest is the whole", {}, {{1, 2, 10}, {2, 1, 20}}, {{{2}, {{1, 10}}}}},
};

TEST(DuplicateGroups, AreMadeOfPairs) {
    for (const Case& each : kCases) {
        SCOPED_TRACE(each.name);
        Relations relations;
        for (const auto& [a, b] : each.copies) relations.addCopies(a, b);
        for (const Part& part : each.parts) {
            relations.addPart(part.part, part.whole, part.startMs, part.whole * 60'000);
        }
        const std::vector<DuplicateGroup> groups = relations.groups();
        ASSERT_EQ(groups.size(), each.groups.size());
        for (size_t i = 0; i < groups.size(); ++i) {
            EXPECT_EQ(groups[i].copies, each.groups[i].copies);
            EXPECT_EQ(groups[i].excerpts, each.groups[i].excerpts);
        }
    }
}

} // namespace
