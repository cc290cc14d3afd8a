// SPDX-License-Identifier: Apache-2.0
#include "catalogue/lookup.h"

#include "catalogue/posting_list.h"

#include <limits>

namespace tarn::server {

Lookup::Lookup(StoreReader& store, ListTable table, std::vector<ListNumber> lists, RecordingScores& scores,
               uint32_t idBound)
    : store_(store), table_(table), numbers_(std::move(lists)), lists_(store.lists(table, numbers_, kToCount)),
      scores_(scores) {
    scores_.start(idBound);
    frequencies_.reserve(lists_.size());
    for (const StoredList& list : lists_) {
        uint64_t count = 0;
        uint64_t left = list.size;
        for (const std::string_view& piece : list.pieces) {
            const bool last = &piece == &list.pieces.back();
            count += countOf(piece, last ? left : piece.size());
            left -= piece.size();
        }
        frequencies_.push_back(count);
        complete_ = complete_ && !list.lost;
    }
}

void Lookup::add(std::span<const WeightedGram> grams) {
    std::vector<ListNumber> missing;
    std::vector<size_t> missingGrams;
    for (const WeightedGram& each : grams) {
        if (lists_[each.gram].whole || lists_[each.gram].lost) continue;
        missing.push_back(numbers_[each.gram]);
        missingGrams.push_back(each.gram);
    }
    if (!missing.empty()) {
        const auto read = store_.lists(table_, missing, std::numeric_limits<size_t>::max());
        for (size_t i = 0; i < read.size(); ++i) lists_[missingGrams[i]] = read[i];
    }
    for (const WeightedGram& each : grams) {
        const StoredList& list = lists_[each.gram];
        const bool sound = forEachId(list.pieces, [&](uint32_t id) { scores_.add(id, each.weight); });
        complete_ = complete_ && sound && list.whole;
    }
}

} // namespace tarn::server
