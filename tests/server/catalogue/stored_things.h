// SPDX-License-Identifier: Apache-2.0
// Changes to a store, and what a reader sees of them.
#pragma once

#include "catalogue/posting_list.h"
#include "server/catalogue/store_suite.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <utility>

namespace kvxtest::stored_things {

using namespace tarn::server;

using Ids = std::vector<uint32_t>;

using State = StoredValue::State;

inline constexpr ListTable kTable = 32;

inline Batch changesOf(std::vector<Change> changes) { return {kTable, {}, std::move(changes)}; }

// In the order of their ids.
inline Batch postingsOf(std::vector<Posting> postings, ListTable table = kTable) {
    std::ranges::stable_sort(postings, {}, &Posting::id);
    return {table, std::move(postings), {}};
}

inline std::string bytesOf(const StoredList& list) {
    std::string bytes;
    for (const std::string_view piece : list.pieces) bytes += piece;
    return bytes;
}

inline Ids idsOf(const StoredList& list) {
    EXPECT_FALSE(list.lost);
    EXPECT_TRUE(list.whole);
    EXPECT_EQ(bytesOf(list).size(), list.size);
    Ids ids;
    EXPECT_TRUE(forEachId(list.pieces, [&](uint32_t id) { ids.push_back(id); }));
    return ids;
}

// "-": there is none.
inline std::vector<std::string> textsIn(StoreReader& reader, const std::vector<std::string>& keys) {
    reader.refresh();
    std::vector<std::string> texts;
    for (const StoredValue& value : reader.values(keys)) {
        EXPECT_NE(value.state, State::kLost);
        texts.push_back(value.state == State::kThere ? std::string(value.bytes) : "-");
    }
    return texts;
}

} // namespace kvxtest::stored_things
