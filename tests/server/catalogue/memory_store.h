// SPDX-License-Identifier: Apache-2.0
// A store in memory, whose values and lists a test damages or loses.
#pragma once

#include "catalogue/store.h"

#include <algorithm>
#include <map>
#include <set>
#include <string>
#include <vector>

namespace kvxtest {

class MemoryStore final : public tarn::server::StoreReader {
  public:
    std::map<std::string, std::string> stored;
    std::map<tarn::server::ListNumber, std::string> storedLists; // of whichever table
    std::set<std::string> lostValues;
    std::set<tarn::server::ListNumber> lostLists;
    size_t readings = 0; // of lists

    bool refresh() override { return false; }
    void rest() override {}

    std::vector<tarn::server::StoredValue> values(std::span<const std::string> keys) override {
        using State = tarn::server::StoredValue::State;
        std::vector<tarn::server::StoredValue> found;
        for (const std::string& key : keys) {
            const auto at = stored.find(key);
            if (lostValues.contains(key)) {
                found.push_back({State::kLost, {}});
            } else if (at == stored.end()) {
                found.push_back({State::kAbsent, {}});
            } else {
                found.push_back({State::kThere, at->second});
            }
        }
        return found;
    }

    std::vector<tarn::server::StoredList> lists(tarn::server::ListTable /*table*/,
                                                std::span<const tarn::server::ListNumber> numbers,
                                                size_t enough) override {
        ++readings;
        std::vector<tarn::server::StoredList> found;
        found.reserve(numbers.size());
        for (const auto number : numbers) found.push_back(list(number, std::max<size_t>(enough, kCounted)));
        return found;
    }

    void
    forEachList(tarn::server::ListTable /*table*/,
                const std::function<void(tarn::server::ListNumber, const tarn::server::StoredList&)>& visit) override {
        for (const auto& [number, bytes] : storedLists) visit(number, list(number, bytes.size()));
    }

    std::vector<std::string> check(bool /*deep*/) override { return {}; }
    std::optional<uint64_t> bytesTaken() override { return std::nullopt; }
    void backUp(const std::string& /*destination*/) override {}

  private:
    static constexpr size_t kCounted = 12; // of a list whose ids are counted: three parts of one id

    tarn::server::StoredList list(tarn::server::ListNumber number, size_t most) {
        const auto at = storedLists.find(number);
        if (lostLists.contains(number)) return {{}, 0, false, true};
        if (at == storedLists.end()) return {{}, 0, true, false};
        const std::string& bytes = at->second;
        pieces_[number] = {std::string_view(bytes).substr(0, most)};
        return {pieces_[number], bytes.size(), bytes.size() <= most, false};
    }

    std::map<tarn::server::ListNumber, std::vector<std::string_view>> pieces_;
};

} // namespace kvxtest
