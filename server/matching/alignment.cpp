// SPDX-License-Identifier: Apache-2.0
#include "matching/alignment.h"

#include "matching/edits.h"
#include "model/frames.h"

#include <algorithm>
#include <optional>

namespace tarn::server {

namespace {

// Votes for a place are counted in bins of about two seconds. The letters of a query carry no times and are assumed to
// be evenly spread, so a vote may be off by a bin: neighbouring bins count too.
constexpr uint32_t kVoteBinFrames = 86;
// How far the search goes beyond the voted place, on either side.
constexpr uint32_t kMarginFrames = 250;
// Places to try: where music repeats or letters are damaged, the right place may not have the most votes.
constexpr size_t kMaxPlaces = 3;
// How late the refined start is in the middle, measured on real music: runs are written when they have ended.
constexpr int64_t kLateFrames = 8;
// Of a query that does not state its length, the usual one.
uint32_t framesOf(const PreparedQuery& query) { return query.frames != 0 ? query.frames : kMaxQueryFrames; }

// Votes of one map for the frame at which the query starts in the recording.
class Votes {
  public:
    Votes(uint32_t queryFrames, uint32_t recordingFrames)
        : lead_(queryFrames), bins_((queryFrames + recordingFrames) / kVoteBinFrames + 2, 0) {}

    void add(uint32_t recordingFrame, uint32_t queryFrame) {
        const size_t bin = (size_t{recordingFrame} + lead_ - std::min(queryFrame, lead_)) / kVoteBinFrames;
        if (bin < bins_.size()) ++bins_[bin];
    }

    // At most `most` places that lie apart from each other, those with the most votes first.
    std::vector<int64_t> places(size_t most) const {
        std::vector<int64_t> frames;
        std::vector<bool> taken(bins_.size(), false);
        while (frames.size() < most) {
            uint32_t votes = 0;
            size_t found = 0;
            for (size_t bin = 0; bin + 1 < bins_.size(); ++bin) {
                if (taken[bin] || bins_[bin] + bins_[bin + 1] <= votes) continue;
                votes = bins_[bin] + bins_[bin + 1];
                found = bin;
            }
            if (votes == 0) break;
            frames.push_back(static_cast<int64_t>((found + 1) * kVoteBinFrames) - lead_); // may lie before the start
            for (size_t bin = found > kApartBins ? found - kApartBins : 0;
                 bin < std::min(found + kApartBins + 1, taken.size()); ++bin) {
                taken[bin] = true;
            }
        }
        return frames;
    }

  private:
    static constexpr size_t kApartBins = 2;
    uint32_t lead_; // the query may begin before the recording does
    std::vector<uint32_t> bins_;
};

std::vector<int64_t> places(const PreparedQuery& query, const RecordingCodes& codes, size_t most) {
    uint32_t recordingFrames = 0;
    for (const auto& coding : codes) {
        for (const CodeString& string : coding) {
            if (!string.frames.empty()) recordingFrames = std::max(recordingFrames, string.frames.back());
        }
    }
    Votes votes(framesOf(query), recordingFrames);
    for (const auto& coding : codes) {
        for (size_t c = 0; c < kCodebooks; ++c) {
            forEachGram(coding[c].letters, [&](const Gram& gram) {
                query.places[c].forEach(
                    gram.value, [&](uint32_t queryFrame) { votes.add(coding[c].frames[gram.index], queryFrame); });
            });
        }
    }
    return votes.places(most);
}

} // namespace

Window lettersBetween(const CodeString& string, int64_t firstFrame, int64_t lastFrame) {
    const auto at = [&](int64_t frame) {
        const auto clamped = static_cast<uint32_t>(std::clamp<int64_t>(frame, 0, UINT32_MAX));
        return static_cast<size_t>(std::lower_bound(string.frames.begin(), string.frames.end(), clamped) -
                                   string.frames.begin());
    };
    return {at(firstFrame), at(lastFrame)};
}

std::string_view lettersIn(const CodeString& string, const Window& window) {
    return std::string_view(string.letters).substr(window.begin, window.end - window.begin);
}

namespace {

// One coding of a recording, around a place.
std::array<ScoreColumns, kCodebooks> columnsAt(const std::array<CodeString, kCodebooks>& coding, int64_t startFrame,
                                               uint32_t frames) {
    std::array<ScoreColumns, kCodebooks> columns;
    for (size_t c = 0; c < kCodebooks; ++c) {
        const Window window =
            lettersBetween(coding[c], startFrame - kMarginFrames, startFrame + frames + kMarginFrames);
        toColumns(lettersIn(coding[c], window), columns[c]);
    }
    return columns;
}

int32_t unitsOf(const QueryMap& map, const std::array<ScoreColumns, kCodebooks>& columns) {
    int32_t units = 0;
    for (size_t c = 0; c < kCodebooks; ++c) units += map.strings[c].scored.against(columns[c]);
    return units;
}

} // namespace

Alignment align(const PreparedQuery& query, const RecordingCodes& codes, Look look) {
    Alignment best;
    const auto map = std::find_if(query.maps.begin(), query.maps.end(), [](const QueryMap& m) { return m.usable; });
    if (map == query.maps.end()) return best;
    // All codings at the likeliest place, the first coding at the others: it shows the place as well as all of them do.
    size_t codings = look == Look::kGlance ? 1 : kCodings.size();
    for (const int64_t startFrame : places(query, codes, look == Look::kGlance ? 1 : kMaxPlaces)) {
        Alignment here;
        here.startFrame = startFrame;
        here.map = static_cast<size_t>(map - query.maps.begin());
        int32_t most = 0;
        for (size_t i = 0; i < codings; ++i) {
            here.units[i] = unitsOf(*map, columnsAt(codes[i], startFrame, framesOf(query)));
            if (here.units[i] <= most) continue;
            most = here.units[i];
            here.coding = i;
        }
        here.bits = static_cast<double>(most) / ScoredString::kUnitsPerBit;
        if (here.bits > best.bits) best = here;
        codings = 1;
    }
    return best;
}

void measure(const PreparedQuery& query, const RecordingCodes& codes, Alignment& alignment) {
    // Each map with the coding that it fits best.
    struct Fit {
        int32_t units = 0;
        size_t coding = 0;
    };
    std::array<Fit, kMaps> fits;
    for (size_t i = 0; i < kCodings.size(); ++i) {
        const std::array<ScoreColumns, kCodebooks> columns = columnsAt(codes[i], alignment.startFrame, framesOf(query));
        for (size_t m = 0; m < kMaps; ++m) {
            if (!query.maps[m].usable) continue;
            const bool known = m == alignment.map && alignment.units[i] >= 0;
            const int32_t units = known ? alignment.units[i] : unitsOf(query.maps[m], columns);
            if (units > fits[m].units) fits[m] = {units, i};
        }
    }
    int64_t sum = 0;
    int64_t maps = 0;
    int32_t most = 0;
    for (size_t m = 0; m < kMaps; ++m) {
        if (!query.maps[m].usable) continue;
        sum += fits[m].units;
        ++maps;
        if (fits[m].units <= most) continue;
        most = fits[m].units;
        alignment.map = m;
        alignment.coding = fits[m].coding;
    }
    if (maps > 0) alignment.bits = static_cast<double>(sum) / static_cast<double>(maps * ScoredString::kUnitsPerBit);
}

// Each string gives two estimates of the frame at which the query starts, one from either end: where that end lies
// among the recording's letters, whose frames are known, and where it lies in the query, which is coded from
// kFirstCodedFrame to its last frame. The engine writes the letters of a run when the run ends, so an end lies between
// two letters. The median of all estimates counts.
void refineStart(const PreparedQuery& query, const RecordingCodes& codes, Alignment& alignment) {
    const int64_t from = alignment.startFrame - kMarginFrames;
    const int64_t to = alignment.startFrame + framesOf(query) + kMarginFrames;
    std::vector<int64_t> estimates;
    for (const QueryMap& map : query.maps) {
        if (!map.usable) continue;
        for (size_t c = 0; c < kCodebooks; ++c) {
            const CodeString& string = codes[alignment.coding][c];
            const Window window = lettersBetween(string, from, to);
            const auto edits = editsWithin(map.strings[c].letters, lettersIn(string, window), Find::kStretch);
            if (!edits) continue;
            const size_t begin = window.begin + edits->begin;
            const size_t last = window.begin + edits->last;
            const int64_t before = begin > 0 ? string.frames[begin - 1] : kFirstCodedFrame;
            estimates.push_back((before + string.frames[begin]) / 2 - kFirstCodedFrame);
            if (query.frames == 0) continue;
            const int64_t after = last + 1 < string.frames.size() ? string.frames[last + 1] : string.frames[last];
            estimates.push_back((after + string.frames[last]) / 2 - query.frames);
        }
    }
    if (estimates.empty()) return;
    const auto middle = estimates.begin() + static_cast<std::ptrdiff_t>(estimates.size() / 2);
    std::nth_element(estimates.begin(), middle, estimates.end());
    alignment.startFrame = *middle - kLateFrames;
}

double stretchDistance(const RecordingCodes& a, int64_t startA, const RecordingCodes& b, int64_t startB,
                       uint32_t frames) {
    double best = 1.0;
    for (const auto& codingB : b) {
        size_t edits = 0;
        size_t letters = 0;
        for (size_t c = 0; c < kCodebooks; ++c) {
            const CodeString& stringA = a[0][c];
            const CodeString& stringB = codingB[c];
            const std::string_view part = lettersIn(
                stringA, lettersBetween(stringA, startA + kMarginFrames / 2, startA + frames - kMarginFrames / 2));
            const auto found = editsWithin(
                part,
                lettersIn(stringB, lettersBetween(stringB, startB - kMarginFrames, startB + frames + kMarginFrames)),
                Find::kCount);
            edits += found ? found->count : part.size();
            letters += part.size();
        }
        if (letters > 0) best = std::min(best, static_cast<double>(edits) / static_cast<double>(letters));
    }
    return best;
}

} // namespace tarn::server
