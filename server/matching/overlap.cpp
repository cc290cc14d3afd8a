// SPDX-License-Identifier: Apache-2.0
#include "matching/overlap.h"

#include "coding/grams.h"
#include "matching/alignment.h"

#include <algorithm>
#include <map>
#include <string_view>

namespace tarn::server {

namespace {

// A gram that occurs more often in a recording says little about the place, and costs its square.
constexpr size_t kMaxOccurrences = 8;
constexpr int64_t kBinFrames = 16; // about a third of a second
constexpr int64_t kApartBins = 16;

// stretchDistance() leaves out 125 frames at either end of a window, so windows overlap by that much.
constexpr uint32_t kWindowFrames = 860; // about 20 s
constexpr uint32_t kStepFrames = 610;
constexpr uint32_t kMinWindowFrames = 340; // of a short recording, or of its end
constexpr size_t kMinWindowLetters = 12;
constexpr size_t kMinWindowDistinct = 10;
// Edits per letter. Of real music, 2,204 windows of copies (64 to 128 kbit/s) had 0.33 at most, and 15,139 unrelated
// ones 0.58 at least.
constexpr double kSameWindow = 0.4;

bool saysEnough(const RecordingCodes& codes, int64_t first, int64_t last) {
    size_t distinct = 0;
    for (const CodeString& string : codes[0]) {
        const std::string_view letters = lettersIn(string, lettersBetween(string, first, last));
        if (letters.size() < kMinWindowLetters) return false;
        distinct += distinctLetters(letters);
    }
    return distinct >= kMinWindowDistinct;
}

} // namespace

PlacedGrams::PlacedGrams(const RecordingCodes& codes) {
    for (size_t c = 0; c < kCodebooks; ++c) {
        const CodeString& string = codes[0][c];
        if (string.frames.size() != string.letters.size()) continue; // of an export without times
        forEachGram(string.letters, [&](const Gram& gram) {
            places_.push_back({static_cast<uint32_t>(c) * kGramCount + gram.value, string.frames[gram.index]});
        });
    }
    std::sort(places_.begin(), places_.end(),
              [](const Place& a, const Place& b) { return a.gram != b.gram ? a.gram < b.gram : a.frame < b.frame; });
}

std::vector<int64_t> PlacedGrams::startsIn(const PlacedGrams& other, size_t most) const {
    const auto endOfRun = [](auto at, auto end) {
        return std::find_if(at, end, [gram = at->gram](const Place& place) { return place.gram != gram; });
    };
    std::map<int64_t, uint32_t> votes; // by bin
    auto a = places_.begin();
    auto b = other.places_.begin();
    while (a != places_.end() && b != other.places_.end()) {
        if (a->gram != b->gram) {
            a->gram < b->gram ? ++a : ++b;
            continue;
        }
        const auto endA = endOfRun(a, places_.end());
        const auto endB = endOfRun(b, other.places_.end());
        const auto runA = static_cast<size_t>(endA - a);
        const auto runB = static_cast<size_t>(endB - b);
        for (auto i = a; i != endA && runA <= kMaxOccurrences && runB <= kMaxOccurrences; ++i) {
            for (auto j = b; j != endB; ++j) {
                const int64_t start = int64_t{j->frame} - i->frame;
                ++votes[start >= 0 ? start / kBinFrames : (start - kBinFrames + 1) / kBinFrames];
            }
        }
        a = endA;
        b = endB;
    }
    std::vector<int64_t> starts;
    while (starts.size() < most && !votes.empty()) {
        uint32_t highest = 0;
        int64_t best = 0;
        for (auto at = votes.begin(); at != votes.end(); ++at) {
            const auto next = std::next(at);
            const bool together = next != votes.end() && next->first == at->first + 1;
            const uint32_t sum = at->second + (together ? next->second : 0);
            if (sum <= highest) continue;
            highest = sum;
            best = at->first;
        }
        starts.push_back((best + 1) * kBinFrames); // between the two bins
        votes.erase(votes.lower_bound(best - kApartBins), votes.upper_bound(best + kApartBins));
    }
    return starts;
}

uint32_t framesOf(const RecordingCodes& codes) {
    uint32_t frames = 0;
    for (const CodeString& string : codes[0]) {
        if (!string.frames.empty()) frames = std::max(frames, string.frames.back());
    }
    return frames;
}

std::optional<double> shareWithin(const RecordingCodes& part, const RecordingCodes& whole, int64_t start) {
    const uint32_t frames = framesOf(part);
    size_t windows = 0;
    size_t same = 0;
    for (uint32_t first = 0; first == 0 || first + kMinWindowFrames <= frames; first += kStepFrames) {
        const uint32_t length = std::min(kWindowFrames, frames - first);
        if (length < kMinWindowFrames || !saysEnough(part, first, first + length)) continue;
        ++windows;
        if (stretchDistance(part, first, whole, start + first, length) < kSameWindow) ++same;
    }
    if (windows == 0) return std::nullopt;
    return static_cast<double>(same) / static_cast<double>(windows);
}

} // namespace tarn::server
