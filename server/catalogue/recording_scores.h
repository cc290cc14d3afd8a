// SPDX-License-Identifier: Apache-2.0
// Sums by recording, for one query after another.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace tarn::server {

struct ScoredRecording {
    uint32_t id = 0;
    uint32_t score = 0; // sum of the weights of the grams that it holds
};

class RecordingScores {
  public:
    // For ids below the bound; all sums are 0 then.
    void start(uint32_t idBound) {
        clear();
        if (scores_.size() < idBound) scores_.resize(idBound, 0);
        touched_.resize(std::max<size_t>(touched_.size(), idBound));
    }

    // weight: not 0.
    void add(uint32_t id, uint32_t weight) {
        if (id >= scores_.size()) return; // of a later commit than the query's
        touched_[count_] = id;
        count_ += static_cast<size_t>(scores_[id] == 0); // without a branch, which nobody could foresee
        scores_[id] += weight;
    }

    // The highest, highest first, equal ones by id.
    std::vector<ScoredRecording> best(size_t most) const {
        const auto higher = [](const ScoredRecording& a, const ScoredRecording& b) {
            return a.score != b.score ? a.score > b.score : a.id < b.id;
        };
        std::vector<ScoredRecording> found; // a heap with the lowest on top
        if (most == 0) return found;
        for (size_t i = 0; i < count_; ++i) {
            const ScoredRecording candidate{touched_[i], scores_[touched_[i]]};
            if (found.size() >= most) {
                if (!higher(candidate, found.front())) continue;
                std::pop_heap(found.begin(), found.end(), higher);
                found.pop_back();
            }
            found.push_back(candidate);
            std::push_heap(found.begin(), found.end(), higher);
        }
        std::sort(found.begin(), found.end(), higher);
        return found;
    }

    size_t size() const { return count_; } // recordings with a sum

  private:
    void clear() {
        for (size_t i = 0; i < count_; ++i) scores_[touched_[i]] = 0;
        count_ = 0;
    }

    std::vector<uint32_t> scores_;
    std::vector<uint32_t> touched_; // ids with a sum, the first count_ of them
    size_t count_ = 0;
};

} // namespace tarn::server
