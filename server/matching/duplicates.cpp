// SPDX-License-Identifier: Apache-2.0
#include "matching/duplicates.h"

#include "catalogue/gram_lists.h"
#include "matching/alignment.h"
#include "matching/overlap.h"
#include "model/frames.h"

#include <algorithm>
#include <cmath>
#include <set>
#include <utility>
#include <vector>

namespace tarn::server {

namespace {

// Windows of a recording whose grams are looked up: what is a part of another has them all there.
constexpr uint32_t kWindows = 3;
constexpr uint32_t kWindowFrames = 860; // about 20 s
constexpr uint64_t kMaxPostings = 50'000;
constexpr size_t kMaxCandidates = 40;
// A candidate holds at least this many of the grams, and this share of those that anybody else holds.
constexpr uint32_t kMinGrams = 8;
constexpr double kMinShare = 0.1;
constexpr size_t kMaxPlaces = 3; // where music repeats, the right one may not come first
// A recording is a part of another if this share of its windows agrees.
constexpr double kMinAgreement = 0.8;
// What copies may lack of each other: encoders add silence, and some files are cut at their ends.
constexpr uint32_t kMaxLackMs = 5000;
constexpr double kMaxLackShare = 0.05;

std::vector<ListNumber> listsOfWindows(const RecordingCodes& codes, unsigned gramLetters) {
    const uint32_t frames = framesOf(codes);
    const uint32_t windows = frames <= 2 * kWindowFrames ? 1 : kWindows;
    std::vector<ListNumber> lists;
    for (uint32_t i = 0; i < windows; ++i) {
        const int64_t middle = int64_t{frames} * (2 * i + 1) / (2 * windows);
        for (size_t c = 0; c < kCodebooks; ++c) {
            const CodeString& string = codes[0][c];
            const Window window = lettersBetween(string, middle - kWindowFrames / 2, middle + kWindowFrames / 2);
            addLists(lists, gramLetters, c, lettersIn(string, window));
        }
    }
    sortOnce(lists);
    return lists;
}

uint32_t msOf(int64_t frames) {
    return static_cast<uint32_t>(std::lround(static_cast<double>(std::max<int64_t>(frames, 0)) * kFrameMs));
}

class Search {
  public:
    explicit Search(CatalogueReader& reader) : reader_(reader) {}

    void look(const Recording& recording) {
        const std::vector<uint32_t> candidates = candidatesOf(recording);
        if (candidates.empty()) return;
        const PlacedGrams grams(recording.codes);
        for (const uint32_t id : candidates) {
            if (!compared_.insert(std::minmax(id, recording.id)).second) continue;
            const std::optional<Recording> other = reader_.recording(id);
            if (!other) continue; // damaged
            const PlacedGrams otherGrams(other->codes);
            if (recording.durationMs <= other->durationMs) {
                compare(recording, grams, *other, otherGrams);
            } else {
                compare(*other, otherGrams, recording, grams);
            }
        }
    }

    Relations relations;

  private:
    // Those that hold many of the recording's grams.
    std::vector<uint32_t> candidatesOf(const Recording& recording) {
        Lookup lookup = reader_.lookUp(listsOfWindows(recording.codes, reader_.gramLetters()));
        std::vector<size_t> shared; // by others than this recording
        for (size_t gram = 0; gram < lookup.size(); ++gram) {
            if (lookup.frequency(gram) > 1) shared.push_back(gram);
        }
        std::stable_sort(shared.begin(), shared.end(),
                         [&](size_t a, size_t b) { return lookup.frequency(a) < lookup.frequency(b); });
        std::vector<WeightedGram> grams;
        grams.reserve(shared.size());
        uint64_t postings = 0;
        for (const size_t gram : shared) {
            postings += lookup.frequency(gram);
            if (postings > kMaxPostings) break;
            grams.push_back({gram, 1});
        }
        lookup.add(grams);
        const auto least = std::max(kMinGrams, static_cast<uint32_t>(kMinShare * static_cast<double>(grams.size())));
        std::vector<uint32_t> ids;
        for (const ScoredRecording& scored : reader_.best(kMaxCandidates)) {
            if (scored.id != recording.id && scored.score >= least) ids.push_back(scored.id);
        }
        if (!lookup.complete() || !reader_.complete())
            throw CatalogueUnavailable(
                "a part of the catalogue does not answer or was lost; tarn-server check says which");
        return ids;
    }

    // shorter: or as long.
    void compare(const Recording& shorter, const PlacedGrams& grams, const Recording& longer,
                 const PlacedGrams& longerGrams) {
        std::optional<int64_t> start;
        double most = kMinAgreement;
        for (const int64_t place : grams.startsIn(longerGrams, kMaxPlaces)) {
            const std::optional<double> share = shareWithin(shorter.codes, longer.codes, place);
            if (!share || *share < most) continue;
            if (start && *share == most) continue;
            start = place;
            most = *share;
        }
        if (!start) return;
        const double lack = std::min<double>(kMaxLackMs, kMaxLackShare * longer.durationMs);
        if (longer.durationMs - shorter.durationMs <= lack) {
            relations.addCopies(shorter.id, longer.id);
        } else {
            relations.addPart(shorter.id, longer.id, msOf(*start), longer.durationMs);
        }
    }

    CatalogueReader& reader_;
    std::set<std::pair<uint32_t, uint32_t>> compared_;
};

} // namespace

std::vector<DuplicateGroup> findDuplicates(CatalogueReader& reader) {
    Search search(reader);
    reader.forEach([&](const Recording& recording) { search.look(recording); });
    return search.relations.groups();
}

} // namespace tarn::server
